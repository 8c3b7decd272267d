#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/events/dispatch_event.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// One bug in the view.
struct ViewLine {
    BugProgress progress{};
    Instant since{};  ///< of the stage that it is in
};

/// All that the view shows.
struct ViewState {
    std::vector<ViewLine> lines{};             ///< in the order in which the bugs came
    std::map<AlertKey, std::string> alerts{};  ///< that hold
};

/// How much room a picture has, and how far the sign of what runs has turned.
struct PictureFrame {
    std::size_t columns = 80;
    std::size_t rows = 23;
    std::size_t number = 0;
    bool coloured = true;
};

/// The view as lines of a terminal: what holds now; the bugs, those that run first, then those that wait,
/// then those that ended, as far as there is room; and the sum. Never taller than the frame has rows, since
/// what is above a screen's top cannot be drawn over.
std::vector<std::string> pictureOf(const ViewState& view, const PictureFrame& frame, Instant now);

/// The text without what sets colours; it holds nothing else that acts on a terminal.
std::string withoutColours(std::string_view text);

}  // namespace quernlight::host
