#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/screen/cell_style.hpp"
#include "host/screen/screen_picture.hpp"

namespace quernlight::host {

/// One place on a screen. A wide character stands in its left cell, and the right one has the width 0.
struct ScreenCell {
    char32_t character = U' ';
    std::array<char32_t, 2> marks{};  ///< that combine with it
    std::uint8_t width = 1;
    CellStyle style{};
};

using ScreenRow = std::vector<ScreenCell>;

/// A row as text without trailing blanks; `withDim` false has blanks in place of what is dim.
std::string rowText(const ScreenRow& row, bool withDim = true);

/// One screen of a terminal: its cells, cursor and scrolling region, and what can be done to them. Rows and
/// columns count from 0. The cursor may stand right of the last column, where the next character wraps.
class ScreenGrid {
  public:
    /// Takes a row that scrolls off the top.
    using RowSink = std::function<void(const ScreenRow&)>;

    explicit ScreenGrid(TerminalSize size, RowSink scrolledOff = {});

    int columns() const { return columns_; }
    int rows() const { return static_cast<int>(cells_.size()); }
    int cursorRow() const { return row_; }
    int cursorColumn() const { return std::min(column_, columns_ - 1); }
    /// Whether the next character wraps.
    bool isPastTheEnd() const { return column_ >= columns_; }
    int regionTop() const { return top_; }
    int regionBottom() const { return bottom_; }
    const ScreenRow& row(int index) const { return cells_[static_cast<std::size_t>(index)]; }

    /// Keeps what still fits, counted from the top left; rows above a cursor that would not fit scroll off.
    void resize(TerminalSize size);
    void clear();

    // Writing
    struct Style {
        CellStyle cell{};
        bool wraps = true, inserts = false;
    };
    void print(char32_t character, int width, Style style);
    /// Adds a combining mark to the character that was printed last.
    void combine(char32_t mark);
    /// What is erased or comes in blank has this background from now on.
    void setBackground(CellStyle::Colour background) { blank_.style.background = background; }

    // The cursor, which stays on the screen
    void moveTo(int row, int column);
    void moveBy(int rows, int columns);
    /// As a program gives a place: with the origin in the scrolling region, counted from its top and kept in
    /// it.
    void place(int row, int column);
    void setOrigin(bool isInRegion) { isOriginInRegion_ = isInRegion; }
    void carriageReturn() { column_ = 0; }
    void backspace();
    void tabulate(int stops);
    void setTabStop(bool isSet);
    void clearTabStops();

    // Scrolling
    void setRegion(int top, int bottom);
    void lineFeed();
    void reverseLineFeed();
    void scrollUp(int count);
    void scrollDown(int count);
    void insertLines(int count);
    void deleteLines(int count);

    // Cells of the cursor's row
    void insertCells(int count);
    void deleteCells(int count);
    void eraseCells(int count);

    enum class Part : std::uint8_t { toEnd, fromStart, all };
    void eraseInLine(Part part);
    void eraseInScreen(Part part);

  private:
    ScreenRow& current() { return cells_[static_cast<std::size_t>(row_)]; }
    void wrap();
    void put(std::size_t at, ScreenCell cell);
    void erase(int row, int from, int to);
    void rotate(int top, int bottom, int count);
    bool isInRegion() const { return row_ >= top_ && row_ <= bottom_; }

    int columns_;
    std::vector<ScreenRow> cells_;
    RowSink scrolledOff_;
    std::vector<bool> tabStops_;
    int row_ = 0, column_ = 0;
    int top_ = 0, bottom_;  // of the scrolling region
    bool isOriginInRegion_ = false;
    ScreenCell blank_;
};

}  // namespace quernlight::host
