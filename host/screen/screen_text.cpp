#include "host/screen/screen_text.hpp"

#include <algorithm>

#include "host/text/terminal_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {

std::u32string columnsOf(std::string_view line) {
    std::u32string columns;
    for (const char32_t scalar : unicodeScalars(line)) {
        const std::size_t width = characterWidth(scalar);
        if (width > 0) {
            columns += scalar;
            columns.append(width - 1, U'\0');
        }
    }
    return columns;
}

std::string textOf(std::u32string_view columns) {
    std::string text;
    for (const char32_t character : columns) {
        if (character != U'\0') {
            appendUtf8(text, character);
        }
    }
    return text;
}

std::size_t indentOf(std::u32string_view columns) {
    return std::min(columns.find_first_not_of(U' '), columns.size());
}

bool isBlank(std::u32string_view columns) {
    return indentOf(columns) == columns.size();
}

bool isPromptGlyph(char32_t character) {
    return character == U'›' || character == U'»';
}

bool holdsAnyOf(std::string_view text, std::initializer_list<std::string_view> words) {
    return std::any_of(words.begin(), words.end(),
                       [&](std::string_view word) { return containsIgnoringCase(text, word); });
}

}  // namespace quernlight::host
