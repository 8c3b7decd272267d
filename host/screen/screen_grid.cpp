#include "host/screen/screen_grid.hpp"

#include <algorithm>
#include <utility>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr int distanceOfTabStops = 8;

/// Halves of wide characters whose other half is gone become blanks.
void mendWideCharacters(ScreenRow& row) {
    for (std::size_t at = 0; at < row.size(); ++at) {
        const bool isWhole = row[at].width == 2 && at + 1 < row.size() && row[at + 1].width == 0;
        if (isWhole) {
            ++at;
        } else if (row[at].width != 1) {
            row[at] = {};
        }
    }
}

std::vector<bool> tabStops(int columns) {
    std::vector<bool> stops(static_cast<std::size_t>(columns));
    for (std::size_t at = 0; at < stops.size(); at += distanceOfTabStops) {
        stops[at] = true;
    }
    return stops;
}

}  // namespace

std::string rowText(const ScreenRow& row, bool withDim) {
    std::string text;
    std::size_t end = 0;  // of what is not blank
    for (const ScreenCell& cell : row) {
        if (cell.width == 0) {
            continue;
        }
        if (cell.character == U' ' || (cell.style.isDim() && !withDim)) {
            text.append(cell.width, ' ');
            continue;
        }
        if (cell.character < 0x80) {
            text += static_cast<char>(cell.character);  // most of what there is
        } else {
            appendUtf8(text, cell.character);
        }
        for (const char32_t mark : cell.marks) {
            if (mark != 0) {
                appendUtf8(text, mark);
            }
        }
        end = text.size();
    }
    text.resize(end);
    return text;
}

ScreenGrid::ScreenGrid(TerminalSize size, RowSink scrolledOff)
    : columns_(size.columns),
      cells_(static_cast<std::size_t>(size.rows), ScreenRow(static_cast<std::size_t>(size.columns))),
      scrolledOff_(std::move(scrolledOff)),
      tabStops_(tabStops(size.columns)),
      bottom_(size.rows - 1) {}

void ScreenGrid::resize(TerminalSize size) {
    while (rows() > size.rows) {
        if (row_ < rows() - 1) {
            cells_.pop_back();
            continue;
        }
        if (scrolledOff_) {
            scrolledOff_(cells_.front());
        }
        cells_.erase(cells_.begin());
        --row_;
    }
    columns_ = size.columns;
    cells_.resize(static_cast<std::size_t>(size.rows));
    for (ScreenRow& row : cells_) {
        row.resize(static_cast<std::size_t>(columns_));
        mendWideCharacters(row);
    }
    tabStops_ = tabStops(columns_);
    top_ = 0;
    bottom_ = rows() - 1;
    column_ = std::min(column_, columns_ - 1);
}

void ScreenGrid::clear() {
    cells_.assign(cells_.size(), ScreenRow(static_cast<std::size_t>(columns_)));
}

void ScreenGrid::print(char32_t character, int width, Style style) {
    if (column_ + width > columns_) {
        if (width > columns_ || (!style.wraps && width > 1)) {
            column_ = cursorColumn();
            return;
        }
        if (style.wraps) {
            wrap();
        } else {
            column_ = columns_ - 1;
        }
    }
    if (style.inserts) {
        insertCells(width);
    }
    const auto at = static_cast<std::size_t>(column_);
    put(at, {.character = character, .width = static_cast<std::uint8_t>(width), .style = style.cell});
    if (width == 2) {
        put(at + 1, {.width = 0});
    }
    column_ += width;
}

void ScreenGrid::wrap() {
    erase(row_, column_, columns_);  // the last column, which has no room for a wide character
    column_ = 0;
    lineFeed();
}

/// Writes a cell. What is left of a wide character that it cuts becomes a blank.
void ScreenGrid::put(std::size_t at, ScreenCell cell) {
    ScreenRow& row = current();
    if (row[at].width == 0 && cell.width != 0 && at > 0) {
        row[at - 1] = {};
    }
    if (row[at].width == 2 && at + 1 < row.size()) {
        row[at + 1] = {};
    }
    row[at] = cell;
}

void ScreenGrid::combine(char32_t mark) {
    if (column_ == 0) {
        return;
    }
    auto at = static_cast<std::size_t>(column_ - 1);
    if (current()[at].width == 0 && at > 0) {
        --at;
    }
    auto& marks = current()[at].marks;
    const auto room = std::find(marks.begin(), marks.end(), char32_t{0});
    if (room != marks.end()) {
        *room = mark;
    }
}

void ScreenGrid::moveTo(int row, int column) {
    row_ = std::clamp(row, 0, rows() - 1);
    column_ = std::clamp(column, 0, columns_ - 1);
}

void ScreenGrid::moveBy(int rows, int columns) {
    const int highest = row_ >= top_ ? top_ : 0;
    const int lowest = row_ <= bottom_ ? bottom_ : this->rows() - 1;
    moveTo(std::clamp(row_ + rows, highest, lowest), cursorColumn() + columns);
}

void ScreenGrid::place(int row, int column) {
    moveTo(isOriginInRegion_ ? std::clamp(top_ + row, top_, bottom_) : row, column);
}

void ScreenGrid::backspace() {
    column_ = std::max(cursorColumn() - 1, 0);
}

void ScreenGrid::tabulate(int stops) {
    const int step = stops < 0 ? -1 : 1;
    const int last = stops < 0 ? 0 : columns_ - 1;
    if (column_ >= columns_) {
        return;
    }
    for (int left = std::abs(stops); left > 0 && column_ != last;) {
        column_ += step;
        left -= tabStops_[static_cast<std::size_t>(column_)] ? 1 : 0;
    }
}

void ScreenGrid::setTabStop(bool isSet) {
    tabStops_[static_cast<std::size_t>(cursorColumn())] = isSet;
}

void ScreenGrid::clearTabStops() {
    tabStops_.assign(tabStops_.size(), false);
}

void ScreenGrid::setRegion(int top, int bottom) {
    if (top >= 0 && bottom < rows() && top < bottom) {
        top_ = top;
        bottom_ = bottom;
    }
}

void ScreenGrid::lineFeed() {
    column_ = cursorColumn();
    if (row_ != bottom_) {
        row_ = std::min(row_ + 1, rows() - 1);
        return;
    }
    if (top_ == 0 && scrolledOff_) {
        scrolledOff_(cells_.front());
    }
    scrollUp(1);
}

void ScreenGrid::reverseLineFeed() {
    column_ = cursorColumn();
    if (row_ == top_) {
        scrollDown(1);
    } else {
        row_ = std::max(row_ - 1, 0);
    }
}

void ScreenGrid::scrollUp(int count) {
    rotate(top_, bottom_, count);
}

void ScreenGrid::scrollDown(int count) {
    rotate(top_, bottom_, -count);
}

void ScreenGrid::insertLines(int count) {
    column_ = cursorColumn();
    if (isInRegion()) {
        rotate(row_, bottom_, -count);
        column_ = 0;
    }
}

void ScreenGrid::deleteLines(int count) {
    column_ = cursorColumn();
    if (isInRegion()) {
        rotate(row_, bottom_, count);
        column_ = 0;
    }
}

/// Moves the rows from `top` to `bottom` up by so many, or down where it is less than 0. Blank ones come in.
void ScreenGrid::rotate(int top, int bottom, int count) {
    const auto first = cells_.begin() + top, end = cells_.begin() + bottom + 1;
    const int moved = std::min(std::abs(count), bottom - top + 1);
    const auto newFirst = count > 0 ? first + moved : end - moved;
    const auto middle = std::rotate(first, newFirst, end);
    const auto blank = count > 0 ? middle : first;
    for (auto row = blank; row != blank + moved; ++row) {
        row->assign(row->size(), blank_);
    }
}

void ScreenGrid::insertCells(int count) {
    column_ = cursorColumn();
    ScreenRow& row = current();
    const auto from = row.begin() + column_;
    const int moved = std::min(count, columns_ - column_);
    std::move_backward(from, row.end() - moved, row.end());
    std::fill(from, from + moved, blank_);
    mendWideCharacters(row);
}

void ScreenGrid::deleteCells(int count) {
    column_ = cursorColumn();
    ScreenRow& row = current();
    const auto from = row.begin() + column_;
    const int moved = std::min(count, columns_ - column_);
    std::move(from + moved, row.end(), from);
    std::fill(row.end() - moved, row.end(), blank_);
    mendWideCharacters(row);
}

void ScreenGrid::eraseCells(int count) {
    column_ = cursorColumn();
    erase(row_, column_, std::min(count, columns_ - column_) + column_);
}

void ScreenGrid::erase(int row, int from, int to) {
    ScreenRow& cells = cells_[static_cast<std::size_t>(row)];
    std::fill(cells.begin() + from, cells.begin() + to, blank_);
    mendWideCharacters(cells);
}

void ScreenGrid::eraseInLine(Part part) {
    const int from = part == Part::toEnd ? column_ : 0;
    const int to = part == Part::fromStart ? cursorColumn() + 1 : columns_;
    erase(row_, from, to);
}

void ScreenGrid::eraseInScreen(Part part) {
    const int from = part == Part::toEnd ? row_ + 1 : 0;
    const int to = part == Part::fromStart ? row_ : rows();
    for (int row = from; row < to; ++row) {
        erase(row, 0, columns_);
    }
    if (part != Part::all) {
        eraseInLine(part);
    }
}

}  // namespace quernlight::host
