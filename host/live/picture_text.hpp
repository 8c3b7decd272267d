#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/live/live_picture.hpp"

namespace quernlight::host {

// The live view's sentences, as lines that fit. Pure.

/// In front of an alert, and so many blanks in front of the lines in which it goes on.
inline constexpr std::string_view alertSign = " ! ";

/// In no more than so many rows, of which each alert has one before another goes on in a second.
std::vector<std::string> alertLines(const std::vector<std::string>& alerts, std::size_t columns,
                                    std::size_t rows);

/// What stands above the last line: what was told, of which the older sentences give way, or what of a
/// question has no room there. At most a third of the rows.
std::vector<std::string> toldLines(const LiveChoice& choice, TerminalSize size);

/// What of a question has no room above the last line, and what may be answered.
std::string askedOnLastLine(const LiveQuestion& question, TerminalSize size);

/// The room of a pane.
struct PaneRoom {
    std::size_t columns = 0, rows = 0;
    bool isCut = false;  ///< lines that are too long; else they go on in the next row
};

struct ShownLines {
    std::vector<std::string> lines{};
    std::size_t scrolled = 0;  ///< as far as there is something to scroll to
};

/// The part of a pane that is scrolled to, from where it begins to be read.
ShownLines shownLines(const PaneText& pane, std::size_t scrolled, PaneRoom room);

}  // namespace quernlight::host
