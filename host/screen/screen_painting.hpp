#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "host/screen/screen_grid.hpp"
#include "host/screen/terminal_modes.hpp"

namespace quernlight::host {

/// One picture of a terminal as bytes that paint it on another one of the same size: `scrollBack`, then
/// `screen`, from which on what the program wrote goes on behind `bytes`. The screen alone paints over
/// whatever a terminal shows.
struct ScreenPainting {
    static constexpr std::size_t mostScrollBack = std::size_t{256} << 10U;  ///< the newest lines that fit

    TerminalSize size{};
    std::string title{};
    std::string scrollBack{};
    std::string screen{};
    std::uint64_t bytes = 0;  ///< of output that it is painted from
};

/// A row as text with its styles, without what is blank at its end or right of so many columns. Ends in the
/// plain style.
std::string paintedRow(const ScreenRow& row, std::size_t columns = std::string::npos);

/// A row that was painted, as text without styles and trailing blanks.
std::string plainRow(std::string_view painted);

/// Where "ESC 7" has put the cursor, and how it would print there.
struct SavedCursor {
    int row = 0, column = 0;
    CellStyle style{};
    CharacterSets sets{};
};

/// What a terminal's screen consists of.
struct PaintedScreen {
    const ScreenGrid& main;
    const ScreenGrid& alternate;
    bool isAlternate;
    const TerminalModes& modes;
    const std::map<bool, SavedCursor>& saved;  ///< whether of the alternate screen
    const CellStyle& style;
    const CharacterSets& sets;
    bool inserts;
    const std::string& title;
};

/// The bytes that paint it, its modes included.
std::string painted(const PaintedScreen& screen);

/// The bytes that paint as much of it as a smaller terminal has room for, with the cursor on it, over what
/// that shows; in the plain style, from the left.
std::string cropped(const PaintedScreen& screen, TerminalSize size);

}  // namespace quernlight::host
