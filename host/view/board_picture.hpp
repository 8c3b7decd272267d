#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "host/events/progress_board.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// One bug on the board.
struct BoardLine {
    BugProgress progress{};
    Instant since{};  ///< of the stage that it is in
};

/// All that a board shows.
struct BoardState {
    std::vector<BoardLine> lines{};               ///< in the order in which the bugs came
    std::map<std::string, std::string> alerts{};  ///< by topic; only those that hold
};

/// How much room a picture has, and how far the sign of what is under way has turned.
struct PictureFrame {
    std::size_t columns = 80;
    std::size_t rows = 23;
    std::size_t number = 0;
};

/// The board as lines of a terminal: what holds now; the bugs, those under way first, then those that wait,
/// then those that ended, as far as there is room; and the sum. Never taller than the frame has rows, since
/// what is above a screen's top cannot be drawn over.
std::vector<std::string> pictureOf(const BoardState& board, const PictureFrame& frame, Instant now);

/// For text that stays in the background; `plain` ends it.
inline constexpr const char* dim = "\x1b[2m";
inline constexpr const char* plain = "\x1b[0m";

}  // namespace quernlight::host
