#include "host/text/table.hpp"

#include <algorithm>
#include <numeric>

#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

using Widths = std::vector<std::size_t>;

constexpr std::size_t gap = 2;
constexpr std::size_t leastFlexible = 12;
constexpr std::size_t leastOther = 4;

std::size_t lineWidth(const Widths& widths) {
    const std::size_t gaps = widths.empty() ? 0 : (widths.size() - 1) * gap;
    return std::accumulate(widths.begin(), widths.end(), gaps);
}

/// Makes the widest of these columns narrower, one column of the terminal at a time, but none narrower than
/// `least`.
template <class Chosen>
void narrow(Widths& widths, std::size_t room, std::size_t least, Chosen isChosen) {
    while (lineWidth(widths) > room) {
        std::size_t* widest = nullptr;
        for (std::size_t index = 0; index < widths.size(); ++index) {
            if (isChosen(index) && widths[index] > least && (!widest || widths[index] > *widest)) {
                widest = &widths[index];
            }
        }
        if (!widest) {
            return;
        }
        --*widest;
    }
}

/// What columns take that are as narrow as they may become.
std::size_t leastWidth(Widths widths) {
    for (std::size_t& width : widths) {
        width = std::min(width, leastOther);
    }
    return lineWidth(widths);
}

Widths fittedWidths(Widths widths, const std::vector<TableColumn>& columns, std::size_t room) {
    while (widths.size() > 1 && leastWidth(widths) > room) {
        widths.pop_back();
    }
    const auto isFlexible = [&](std::size_t index) { return columns[index].flexible; };
    narrow(widths, room, leastFlexible, isFlexible);
    narrow(widths, room, 0, [](std::size_t) { return true; });
    return widths;
}

/// Without blanks at its end.
std::string cellText(const std::string& whole, std::size_t width) {
    const std::string text = fitted(withoutControls(whole), width);
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::string styled(const std::string& text, CellEmphasis style) {
    const char* begin = style == CellEmphasis::dim ? dim : style == CellEmphasis::attention ? yellow : "";
    return *begin == '\0' ? text : begin + text + plain;
}

/// The blanks behind the last text of a line are left out, since a terminal that is narrowed would wrap them.
std::string lineOf(const std::vector<TableCell>& cells, const Widths& widths, bool coloured) {
    std::string line;
    std::size_t blanks = 0;
    for (std::size_t index = 0; index < std::min(cells.size(), widths.size()); ++index) {
        const std::string text = cellText(cells[index].text, widths[index]);
        if (!text.empty()) {
            line += std::string(blanks, ' ') + (coloured ? styled(text, cells[index].style) : text);
            blanks = 0;
        }
        blanks += widths[index] - displayWidth(text) + gap;
    }
    return line + "\n";
}

}  // namespace

TableColumn flexible(const char* name) {
    TableColumn column(name);
    column.flexible = true;
    return column;
}

void Table::add(std::vector<TableCell> cells) {
    rows_.push_back(std::move(cells));
}

std::vector<std::size_t> Table::neededWidths() const {
    Widths widths;
    for (std::size_t index = 0; index < columns_.size(); ++index) {
        std::size_t width = displayWidth(columns_[index].name);
        for (const auto& row : rows_) {
            width =
                index < row.size() ? std::max(width, displayWidth(withoutControls(row[index].text))) : width;
        }
        widths.push_back(width);
    }
    return widths;
}

std::string Table::text(const TextRoom& room) const {
    const Widths needed = neededWidths();
    const Widths widths = room.columns ? fittedWidths(needed, columns_, *room.columns) : needed;
    std::vector<TableCell> header;
    for (const TableColumn& column : columns_) {
        header.push_back({column.name, CellEmphasis::dim});
    }
    std::string text = lineOf(header, widths, room.coloured);
    for (const auto& row : rows_) {
        text += lineOf(row, widths, room.coloured);
    }
    return text;
}

}  // namespace quernlight::host
