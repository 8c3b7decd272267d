#include "host/screen/cell_style.hpp"

#include <algorithm>
#include <cstddef>
#include <optional>

namespace quernlight::host {
namespace {

struct AttributeCode {
    int on, off;
    CellStyle::Attribute attribute;
};

constexpr AttributeCode attributeCodes[] = {
    {1, 22, CellStyle::bold},       {2, 22, CellStyle::dim},      {3, 23, CellStyle::italic},
    {4, 24, CellStyle::underlined}, {5, 25, CellStyle::blinking}, {7, 27, CellStyle::inverse},
    {8, 28, CellStyle::hidden},     {9, 29, CellStyle::struck},
};

constexpr int chosenText = 38, chosenBackground = 48, chosenUnderline = 58;

bool isBetween(int value, int first, int last) {
    return value >= first && value <= last;
}

CellStyle::Colour paletteColour(int index) {
    return CellStyle::ofPalette + static_cast<CellStyle::Colour>(std::clamp(index, 0, 255));
}

/// Those of 30 to 37 and the like.
std::optional<CellStyle::Colour> plainColour(int value, int first, int firstBright) {
    if (isBetween(value, first, first + 7)) {
        return paletteColour(value - first);
    }
    if (isBetween(value, firstBright, firstBright + 7)) {
        return paletteColour(value - firstBright + 8);
    }
    return value == first + 9 ? std::optional(CellStyle::Colour{0}) : std::nullopt;
}

CellStyle::Colour directColour(int red, int green, int blue) {
    const auto part = [](int value) { return static_cast<CellStyle::Colour>(std::clamp(value, 0, 255)); };
    return CellStyle::direct | (part(red) << 16U) | (part(green) << 8U) | part(blue);
}

/// A colour that is spelt out from the parameter `at` on, which is moved to its last one: "38;5;N",
/// "38;2;R;G;B", or the same with colons, where a colour space may stand before the red.
std::optional<CellStyle::Colour> speltColour(const ControlSequence& change, std::size_t& at) {
    const auto& parameters = change.parameters;
    const std::size_t first = at;
    std::size_t end = first + 1;
    while (end < parameters.size() && parameters[end].isSubordinate) {
        ++end;
    }
    const std::size_t withColons = end - first - 1;
    const int kind = change.value(first + 1);
    at = withColons > 0 ? end - 1 : first + (kind == 2 ? 4U : 2U);
    if (kind == 5) {
        return paletteColour(change.value(first + 2));
    }
    const std::size_t red = first + (withColons > 4 ? 3U : 2U);
    return kind == 2
               ? std::optional(directColour(change.value(red), change.value(red + 1), change.value(red + 2)))
               : std::nullopt;
}

void applyAttribute(int value, bool isTurnedOff, CellStyle& style) {
    for (const AttributeCode& code : attributeCodes) {
        const auto without = static_cast<std::uint8_t>(style.attributes & ~code.attribute);
        if (value == code.on && !isTurnedOff) {
            style.attributes = static_cast<std::uint8_t>(style.attributes | code.attribute);
        } else if (value == code.off || value == code.on) {
            style.attributes = without;
        }
    }
    if (value == 21) {
        style.attributes = static_cast<std::uint8_t>(style.attributes | CellStyle::underlined);
    }
}

std::string colourCode(CellStyle::Colour colour, int first, int firstBright, int chosen) {
    if (colour == 0) {
        return "";
    }
    if (colour >= CellStyle::direct) {
        const auto part = [&](unsigned shift) { return ";" + std::to_string((colour >> shift) & 0xFFU); };
        return ";" + std::to_string(chosen) + ";2" + part(16) + part(8) + part(0);
    }
    const int index = static_cast<int>(colour - CellStyle::ofPalette);
    if (index < 16) {
        return ";" + std::to_string(index < 8 ? first + index : firstBright + index - 8);
    }
    return ";" + std::to_string(chosen) + ";5;" + std::to_string(index);
}

}  // namespace

CellStyle styleAfter(const ControlSequence& change, CellStyle style) {
    const auto& parameters = change.parameters;
    style = parameters.empty() ? CellStyle{} : style;
    for (std::size_t at = 0; at < parameters.size(); ++at) {
        const int value = parameters[at].isSubordinate ? -1 : change.value(at);
        if (value == chosenText || value == chosenBackground || value == chosenUnderline) {
            const auto colour = speltColour(change, at);
            CellStyle ignored;
            CellStyle& changed = value == chosenUnderline ? ignored : style;
            (value == chosenText ? changed.text : changed.background) =
                colour.value_or(value == chosenText ? style.text : style.background);
        } else if (value == 0) {
            style = {};
        } else if (const auto text = plainColour(value, 30, 90)) {
            style.text = *text;
        } else if (const auto background = plainColour(value, 40, 100)) {
            style.background = *background;
        } else {
            const bool hasKind = at + 1 < parameters.size() && parameters[at + 1].isSubordinate;
            applyAttribute(value, hasKind && change.value(at + 1) == 0, style);
        }
    }
    return style;
}

std::string styleSequence(const CellStyle& style) {
    std::string codes;
    for (const AttributeCode& code : attributeCodes) {
        codes += (style.attributes & code.attribute) != 0 ? ";" + std::to_string(code.on) : "";
    }
    codes +=
        colourCode(style.text, 30, 90, chosenText) + colourCode(style.background, 40, 100, chosenBackground);
    return codes.empty() ? "\x1b[m" : "\x1b[0" + codes + "m";
}

}  // namespace quernlight::host
