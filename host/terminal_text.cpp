#include "host/terminal_text.hpp"

#include <unicode/uchar.h>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

std::size_t widthOf(char32_t scalar) {
    const auto character = static_cast<UChar32>(scalar);
    const auto category = U_GET_GC_MASK(character);
    if ((category & (U_GC_M_MASK | U_GC_CC_MASK | U_GC_CF_MASK)) != 0) {
        return 0;
    }
    const int width = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

bool isControl(char32_t scalar) {
    return u_charType(static_cast<UChar32>(scalar)) == U_CONTROL_CHAR;
}

}  // namespace

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    for (const char32_t scalar : unicodeScalars(text)) {
        width += widthOf(scalar);
    }
    return width;
}

std::string fitted(std::string_view text, std::size_t width) {
    const bool cut = displayWidth(text) > width;
    const std::size_t room = cut && width > 0 ? width - 1 : width;
    std::string shown;
    std::size_t used = 0;
    for (const char32_t scalar : unicodeScalars(text)) {
        if (isControl(scalar)) {
            continue;
        }
        if (used + widthOf(scalar) > room) {
            break;
        }
        appendUtf8(shown, scalar);
        used += widthOf(scalar);
    }
    if (cut && width > 0) {
        shown += "…";
        ++used;
    }
    return shown + std::string(width - used, ' ');
}

std::string withoutControls(std::string_view text) {
    std::string line;
    bool blankIsDue = false;
    for (const char32_t scalar : unicodeScalars(text)) {
        if (isControl(scalar)) {
            blankIsDue = true;
            continue;
        }
        line += blankIsDue && !line.empty() ? " " : "";
        blankIsDue = false;
        appendUtf8(line, scalar);
    }
    return line;
}

}  // namespace quernlight::host
