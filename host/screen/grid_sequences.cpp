#include "host/screen/grid_sequences.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace quernlight::host {
namespace {

using Sequence = ControlSequence;

void moveCursor(const Sequence& sequence, ScreenGrid& grid) {
    const int count = sequence.count(0);
    switch (sequence.final) {
        case 'A':
            return grid.moveBy(-count, 0);
        case 'B':
            return grid.moveBy(count, 0);
        case 'C':
        case 'a':
            return grid.moveBy(0, count);
        case 'D':
            return grid.moveBy(0, -count);
        case 'E':
            grid.moveBy(count, 0);
            return grid.carriageReturn();
        default:
            grid.moveBy(-count, 0);
            return grid.carriageReturn();
    }
}

void placeCursor(const Sequence& sequence, ScreenGrid& grid) {
    const int first = sequence.count(0) - 1;
    switch (sequence.final) {
        case 'G':
        case '`':
            return grid.moveTo(grid.cursorRow(), first);
        case 'd':
            return grid.place(first, grid.cursorColumn());
        case 'e':
            return grid.moveTo(grid.cursorRow() + first + 1, grid.cursorColumn());
        default:
            return grid.place(first, sequence.count(1) - 1);
    }
}

void editCells(const Sequence& sequence, ScreenGrid& grid) {
    switch (sequence.final) {
        case '@':
            return grid.insertCells(sequence.count(0));
        case 'P':
            return grid.deleteCells(sequence.count(0));
        default:
            return grid.eraseCells(sequence.count(0));
    }
}

void editLines(const Sequence& sequence, ScreenGrid& grid) {
    switch (sequence.final) {
        case 'L':
            return grid.insertLines(sequence.count(0));
        case 'M':
            return grid.deleteLines(sequence.count(0));
        case 'S':
            return grid.scrollUp(sequence.count(0));
        default:
            return grid.scrollDown(sequence.count(0));
    }
}

void erase(const Sequence& sequence, ScreenGrid& grid) {
    using Part = ScreenGrid::Part;
    constexpr std::array parts{Part::toEnd, Part::fromStart, Part::all};
    const auto part = static_cast<std::size_t>(sequence.value(0));
    if (part >= parts.size()) {
        return;
    }
    if (sequence.final == 'K') {
        grid.eraseInLine(parts[part]);
    } else {
        grid.eraseInScreen(parts[part]);
    }
}

void setTabs(const Sequence& sequence, ScreenGrid& grid) {
    if (sequence.final == 'I' || sequence.final == 'Z') {
        grid.tabulate(sequence.final == 'I' ? sequence.count(0) : -sequence.count(0));
    } else if (sequence.value(0) == 0) {
        grid.setTabStop(false);
    } else if (sequence.value(0) == 3) {
        grid.clearTabStops();
    }
}

void setRegion(const Sequence& sequence, ScreenGrid& grid) {
    const int bottom = std::min(sequence.count(1, grid.rows()), grid.rows());
    if (sequence.count(0) < bottom) {
        grid.setRegion(sequence.count(0) - 1, bottom - 1);
        grid.place(0, 0);
    }
}

struct Entry {
    std::string_view finals;
    void (*apply)(const Sequence&, ScreenGrid&);
};

constexpr std::array entries{
    Entry{"Hf`Gde", placeCursor}, Entry{"ABCDEFa", moveCursor}, Entry{"KJ", erase},
    Entry{"@PX", editCells},      Entry{"LMST", editLines},     Entry{"r", setRegion},
    Entry{"IZg", setTabs},
};

}  // namespace

bool applyToGrid(const ControlSequence& sequence, ScreenGrid& grid) {
    const bool erases = sequence.final == 'J' || sequence.final == 'K';
    if (sequence.intermediate != 0 || (sequence.prefix != 0 && !(sequence.prefix == '?' && erases))) {
        return false;
    }
    const auto entry = std::find_if(entries.begin(), entries.end(), [&](const Entry& known) {
        return known.finals.find(sequence.final) != known.finals.npos;
    });
    if (entry == entries.end()) {
        return false;
    }
    entry->apply(sequence, grid);
    return true;
}

}  // namespace quernlight::host
