#include "host/text/terminal_text.hpp"

#include <array>
#include <cstdio>

#include <unicode/uchar.h>

#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

/// The first bytes, to the end of a character.
std::string_view beginning(std::string_view text, std::size_t bytes) {
    if (text.size() <= bytes) {
        return text;
    }
    const auto continues = [&](std::size_t at) {
        return (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80;
    };
    while (bytes > 0 && continues(bytes)) {
        --bytes;
    }
    return text.substr(0, bytes);
}

}  // namespace

std::size_t characterWidth(char32_t scalar) {
    const auto character = static_cast<UChar32>(scalar);
    const auto category = U_GET_GC_MASK(character);
    if ((category & (U_GC_M_MASK | U_GC_CF_MASK)) != 0 || isActingCharacter(scalar)) {
        return 0;
    }
    const int width = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    for (const char32_t scalar : unicodeScalars(text)) {
        width += characterWidth(scalar);
    }
    return width;
}

std::string fitted(std::string_view whole, std::size_t width) {
    constexpr std::size_t mostBytesAColumn = 32;  // a letter with its marks takes fewer
    const std::string_view text = beginning(whole, (width + 1) * mostBytesAColumn);
    const bool cut = text.size() < whole.size() || displayWidth(text) > width;
    const std::size_t room = cut && width > 0 ? width - 1 : width;
    std::string shown;
    std::size_t used = 0;
    for (const char32_t scalar : unicodeScalars(text)) {
        if (isActingCharacter(scalar)) {
            continue;
        }
        if (used + characterWidth(scalar) > room) {
            break;
        }
        appendUtf8(shown, scalar);
        used += characterWidth(scalar);
    }
    if (cut && width > 0) {
        shown += "…";
        ++used;
    }
    return shown + std::string(width - used, ' ');
}

std::string withoutControls(std::string_view whole) {
    constexpr std::size_t mostBytes = 4096;
    const std::string_view text = beginning(whole, mostBytes);
    std::string line;
    bool blankIsDue = false;
    for (const char32_t scalar : unicodeScalars(text)) {
        if (isActingCharacter(scalar)) {
            blankIsDue = true;
            continue;
        }
        line += blankIsDue && !line.empty() ? " " : "";
        blankIsDue = false;
        appendUtf8(line, scalar);
    }
    return text.size() < whole.size() ? line + "…" : line;
}

std::string escapedJson(std::string_view json) {
    std::string escaped;
    for (const char32_t scalar : unicodeScalars(json)) {
        if (isActingCharacter(scalar)) {
            std::array<char, 8> code{};
            std::snprintf(code.data(), code.size(), "\\u%04x", static_cast<unsigned>(scalar));
            escaped += code.data();
        } else {
            appendUtf8(escaped, scalar);
        }
    }
    return escaped;
}

}  // namespace quernlight::host
