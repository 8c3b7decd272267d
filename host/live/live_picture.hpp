#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "host/live/live_choice.hpp"
#include "host/live/redraw.hpp"

namespace quernlight::host {

/// What is known of a bug for one pane.
struct PaneText {
    std::string bugID{};
    LivePane pane{};
    std::vector<std::string> lines{};  ///< of any length
    bool isTrouble = false;            ///< they say why it is not known
};

/// Where and when the picture is drawn.
struct LiveFrame {
    TerminalSize size{};
    bool isColoured = true;
    std::size_t turn = 0;  ///< of the sign of what runs
    Instant now{};
    std::chrono::seconds offset{};  ///< of the person's clock
};

/// The live view: a line about the whole; what needs a person; what runs; the queue, and beside it what is in
/// review; a pane about the selected bug; and the keys, or what the person types. What does not fit is
/// counted; what is said in sentences goes on in the next row. Pure; from 20 columns by 5 rows on it says
/// something of use.
LivePicture livePicture(const LiveSnapshot& snapshot, const LiveChoice& choice, const PaneText& pane,
                        const LiveFrame& frame);

/// The bugs alone, as plain lines that stay on a terminal when the view has gone.
std::vector<std::string> lastPicture(const LiveSnapshot& snapshot, const LiveFrame& frame);

}  // namespace quernlight::host
