#include "quernlight/runner/ansi_plain_text_converter.hpp"

#include "quernlight/runner/byte_block.hpp"
#include "quernlight/runner/plain_text_pass.hpp"

namespace quernlight {

void ANSIPlainTextConverter::appendPlain(std::string& text, std::string_view bytes) {
    PlainTextPass<ByteBlock>::append(text, bytes);
}

std::string ANSIPlainTextConverter::plain(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    appendPlain(text, bytes);
    return text;
}

}  // namespace quernlight
