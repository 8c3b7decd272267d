#include "quernlight/platform/control_characters.hpp"

#include <array>
#include <cstdio>

#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

bool setsDirection(char32_t scalar) {
    return scalar == 0x061C || scalar == 0x200E || scalar == 0x200F ||
           (scalar >= 0x202A && scalar <= 0x202E) || (scalar >= 0x2066 && scalar <= 0x2069);
}

std::string escapeOf(char32_t scalar) {
    switch (scalar) {
        case U'\n':
            return "\\n";
        case U'\r':
            return "\\r";
        case U'\t':
            return "\\t";
        default:
            break;
    }
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), scalar < 0x100 ? "\\x%02x" : "\\u%04x",
                  static_cast<unsigned>(scalar));
    return text.data();
}

/// At least the first `scalars` scalars, with perhaps a broken one behind them.
std::string_view beginning(std::string_view text, std::size_t scalars) {
    constexpr std::size_t longestScalar = 4;
    return text.size() / longestScalar > scalars ? text.substr(0, scalars * longestScalar) : text;
}

}  // namespace

bool isControlCharacter(char32_t scalar) {
    return scalar < 0x20 || (scalar >= 0x7F && scalar < 0xA0);
}

bool isLineSeparator(char32_t scalar) {
    return scalar == 0x2028 || scalar == 0x2029;
}

bool isActingCharacter(char32_t scalar) {
    return isControlCharacter(scalar) || isLineSeparator(scalar) || setsDirection(scalar);
}

std::string blankedControls(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    for (const char32_t scalar : unicodeScalars(text)) {
        appendUtf8(line, isControlCharacter(scalar) || isLineSeparator(scalar) ? U' ' : scalar);
    }
    return line;
}

std::string escapedLine(std::string_view text, std::size_t most) {
    std::u32string shown;
    for (const char32_t scalar : unicodeScalars(beginning(text, most + 1))) {
        if (!isActingCharacter(scalar)) {
            shown += scalar;
            continue;
        }
        for (const char character : escapeOf(scalar)) {
            shown += static_cast<char32_t>(character);
        }
    }
    if (shown.size() > most) {
        shown.resize(most > 0 ? most - 1 : 0);
        shown += most > 0 ? U"…" : U"";
    }
    std::string line;
    for (const char32_t scalar : shown) {
        appendUtf8(line, scalar);
    }
    return line;
}

}  // namespace quernlight
