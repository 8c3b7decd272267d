#include "quernlight/runner/typeable_text.hpp"

#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight {

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

}  // namespace quernlight
