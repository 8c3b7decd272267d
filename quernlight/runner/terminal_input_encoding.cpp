#include "quernlight/runner/terminal_input_encoding.hpp"

namespace quernlight {

std::string TerminalInputEncoding::dataForPTYWrite(std::string_view data) {
    std::string encoded;
    encoded.reserve(data.size());
    bool afterCarriageReturn = false;
    for (const char byte : data) {
        if (byte != '\n') {
            encoded.push_back(byte);
        } else if (!afterCarriageReturn) {
            encoded.push_back('\r');
        }
        afterCarriageReturn = byte == '\r';
    }
    return encoded;
}

}  // namespace quernlight
