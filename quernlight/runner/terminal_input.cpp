#include "quernlight/runner/terminal_input.hpp"

#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight {

std::vector<std::string> InitialPromptSendPlan::chunks(std::string_view initialInput) {
    if (initialInput.empty()) {
        return {};
    }
    std::string body(initialInput);
    if (!initialInput.ends_with('\n')) {
        body.push_back('\n');
    } else if (initialInput.ends_with("\n\n")) {
        body.pop_back();
    }
    return {std::move(body), "\n"};
}

std::string typeableText(std::string_view text) {
    std::string typed;
    typed.reserve(text.size());
    bool afterCarriageReturn = false;
    for (const char32_t scalar : unicodeScalars(text)) {
        if (scalar == U'\n' && afterCarriageReturn) {
            typed.pop_back();  // the blank that the carriage return became
        }
        afterCarriageReturn = scalar == U'\r';
        appendUtf8(typed, isControlCharacter(scalar) && scalar != U'\n' ? U' ' : scalar);
    }
    return typed;
}

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
