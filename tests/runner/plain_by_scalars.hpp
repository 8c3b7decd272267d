#pragma once

#include <string>
#include <string_view>

#include "quernlight/platform/text.hpp"

namespace quernlight::test {

/// The rule as one reads it, scalar by scalar and slow; what the converter is held against.
inline std::string plainByScalars(std::string_view bytes) {
    const std::u32string scalars = unicodeScalars(bytes);
    const auto at = [&](std::size_t index) { return index < scalars.size() ? scalars[index] : U'\0'; };
    std::string text;
    for (std::size_t index = 0; index < scalars.size(); ++index) {
        if (scalars[index] != 0x1B) {
            appendUtf8(text, scalars[index] == '\r' ? U'\n' : scalars[index]);
        } else if (at(index + 1) == '[') {
            for (index += 2; index < scalars.size() && (at(index) < 0x40 || at(index) > 0x7E);) {
                ++index;
            }
        } else if (at(index + 1) == ']') {
            for (index += 2; index < scalars.size() && at(index) != 0x07; ++index) {
                if (at(index) == 0x1B && at(index + 1) == '\\') {
                    ++index;
                    break;
                }
            }
        }
    }
    return text;
}

}  // namespace quernlight::test
