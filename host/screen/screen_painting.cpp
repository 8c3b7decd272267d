#include "host/screen/screen_painting.hpp"

#include <algorithm>
#include <array>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

using Mode = TerminalModes::Mode;

/// To the main screen, with the modes in which all cells can be reached.
constexpr std::string_view beginning =
    "\x1b[?2026l\x1b[?1049l\x1b[m\x1b(B\x1b)B\x0f\x1b[r\x1b[?6l\x1b[4l\x1b[?7h\x1b[H\x1b[2J";

constexpr const char* saveCursor = "\x1b\x37";

/// Painted by other means.
constexpr std::array structural{Mode::origin,           Mode::wrap,        Mode::alternate,
                                Mode::alternateCleared, Mode::savedCursor, Mode::alternateSaved,
                                Mode::synchronized};
/// Terminals differ in whether they begin with these; what a program did not ask for stays as it is.
constexpr std::array differing{12, 1007};

std::string placed(int row, int column) {
    return "\x1b[" + std::to_string(row + 1) + ";" + std::to_string(column + 1) + "H";
}

std::string switched(int mode, bool isOn) {
    return "\x1b[?" + std::to_string(mode) + (isOn ? "h" : "l");
}

bool isBlank(const ScreenCell& cell) {
    return cell.character == U' ' && cell.style.background == 0 &&
           (cell.style.attributes & (CellStyle::inverse | CellStyle::underlined | CellStyle::struck)) == 0;
}

std::string cellText(const ScreenCell& cell) {
    std::string text;
    appendUtf8(text, cell.character);
    for (const char32_t mark : cell.marks) {
        if (mark != 0) {
            appendUtf8(text, mark);
        }
    }
    return text;
}

std::string rowsOf(const ScreenGrid& grid) {
    std::string bytes;
    for (int row = 0; row < grid.rows(); ++row) {
        const std::string text = paintedRow(grid.row(row));
        bytes += text.empty() ? "" : placed(row, 0) + text;
    }
    return bytes;
}

std::string cursorOf(const SavedCursor& saved) {
    return placed(saved.row, saved.column) + styleSequence(saved.style) + saved.sets.sequence();
}

/// What is off comes first: some terminals know only one way to report the mouse, which each switches off.
std::string modesOf(const TerminalModes& modes) {
    std::string off, on;
    for (const auto& [mode, isOn] : modes.all()) {
        const bool isPainted = std::ranges::find(structural, mode) != structural.end();
        const bool isLeft = !isOn && std::ranges::find(differing, mode) != differing.end();
        if (!isPainted && !isLeft) {
            (isOn ? on : off) += switched(mode, isOn);
        }
    }
    return off + on;
}

/// The cursor right of the last column comes there by printing what stands in it once more.
std::string cursorAt(const ScreenGrid& grid, const PaintedScreen& screen) {
    const bool isRelative = screen.modes.isOn(Mode::origin);
    const int row = grid.cursorRow() - (isRelative ? grid.regionTop() : 0);
    if (!grid.isPastTheEnd()) {
        return placed(row, grid.cursorColumn());
    }
    const ScreenRow& cells = grid.row(grid.cursorRow());
    const std::size_t last = cells.size() - (cells.back().width == 0 && cells.size() > 1 ? 2U : 1U);
    return placed(row, static_cast<int>(last)) + styleSequence(cells[last].style) + cellText(cells[last]);
}

std::string stateOf(const ScreenGrid& grid, const PaintedScreen& screen) {
    std::string bytes;
    if (grid.regionTop() > 0 || grid.regionBottom() < grid.rows() - 1) {
        bytes += "\x1b[" + std::to_string(grid.regionTop() + 1) + ";" +
                 std::to_string(grid.regionBottom() + 1) + "r";
    }
    bytes += screen.modes.isOn(Mode::origin) ? switched(Mode::origin, true) : "";
    bytes += cursorAt(grid, screen) + styleSequence(screen.style) + screen.sets.sequence();
    bytes += screen.inserts ? "\x1b[4h" : "";
    bytes += screen.modes.isOn(Mode::wrap) ? "" : switched(Mode::wrap, false);
    return bytes;
}

}  // namespace

std::string paintedRow(const ScreenRow& row, std::size_t columns) {
    std::size_t end = std::min(row.size(), columns);
    end -= end > 0 && end < row.size() && row[end].width == 0 ? 1U : 0U;
    while (end > 0 && isBlank(row[end - 1])) {
        --end;
    }
    std::string text;
    CellStyle style;
    for (std::size_t at = 0; at < end; ++at) {
        const ScreenCell& cell = row[at];
        if (cell.width == 0) {
            continue;
        }
        if (cell.style != style) {
            style = cell.style;
            text += styleSequence(style);
        }
        text += cellText(cell);
    }
    return style == CellStyle{} ? text : text + "\x1b[m";
}

std::string plainRow(std::string_view painted) {
    std::string text;
    bool isInStyle = false;
    for (const char byte : painted) {
        const bool begins = byte == '\x1b';
        if (!begins && !isInStyle) {
            text += byte;
        }
        isInStyle = begins || (isInStyle && byte != 'm');
    }
    text.resize(text.find_last_not_of(' ') + 1);
    return text;
}

std::string painted(const PaintedScreen& screen) {
    std::string bytes(beginning);
    bytes += rowsOf(screen.main);
    const auto savedOn = [&](bool isAlternate) {
        const auto saved = screen.saved.find(isAlternate);
        return cursorOf(saved == screen.saved.end() ? SavedCursor() : saved->second) + saveCursor;
    };
    bytes += savedOn(false);
    if (screen.isAlternate) {
        for (const Mode mode : {Mode::alternate, Mode::alternateCleared, Mode::alternateSaved}) {
            bytes += screen.modes.isOn(mode) ? switched(mode, true) : "";
        }
        bytes += "\x1b[m\x1b[H\x1b[2J" + rowsOf(screen.alternate) + savedOn(true);
    }
    bytes += modesOf(screen.modes) + stateOf(screen.isAlternate ? screen.alternate : screen.main, screen);
    bytes += "\x1b]2;" + screen.title + "\x1b\\";
    return bytes;
}

std::string cropped(const PaintedScreen& screen, TerminalSize size) {
    const ScreenGrid& grid = screen.isAlternate ? screen.alternate : screen.main;
    const int first = std::max(grid.cursorRow() - (size.rows - 1), 0);
    std::string bytes = "\x1b[?2026h\x1b[?25l\x1b[m";
    for (int row = 0; row < size.rows; ++row) {
        bytes += placed(row, 0) + "\x1b[K";
        bytes += first + row < grid.rows()
                     ? paintedRow(grid.row(first + row), static_cast<std::size_t>(size.columns))
                     : "";
    }
    bytes += "\x1b]2;" + screen.title + "\x1b\\" + modesOf(screen.modes);
    return bytes + placed(grid.cursorRow() - first, std::min(grid.cursorColumn(), size.columns - 1)) +
           "\x1b[?2026l";
}

}  // namespace quernlight::host
