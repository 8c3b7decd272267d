#pragma once

#include <cstdint>
#include <string>

#include "host/screen/terminal_parser.hpp"

namespace quernlight::host {

/// How a character is drawn: its attributes and colours, as "CSI … m" chooses them.
struct CellStyle {
    enum Attribute : std::uint8_t {
        bold = 1,
        dim = 2,
        italic = 4,
        underlined = 8,
        blinking = 16,
        inverse = 32,
        hidden = 64,
        struck = 128,
    };

    /// 0: the terminal's own; below `ofPalette` plus 256 one of the palette; else `direct` and red, green,
    /// blue.
    using Colour = std::uint32_t;
    static constexpr Colour ofPalette = 0x01000000, direct = 0x02000000;

    Colour text = 0, background = 0;
    std::uint8_t attributes = 0;

    bool isDim() const { return (attributes & dim) != 0; }
    bool operator==(const CellStyle&) const = default;
};

/// The style after a "CSI … m". What is not known changes nothing.
CellStyle styleAfter(const ControlSequence& change, CellStyle style);

/// The control sequence that chooses exactly this style.
std::string styleSequence(const CellStyle& style);

}  // namespace quernlight::host
