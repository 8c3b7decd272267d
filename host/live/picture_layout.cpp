#include "host/live/picture_layout.hpp"

#include <algorithm>

namespace quernlight::host {
namespace {

constexpr std::size_t leastPane = 4;

}  // namespace

PictureLayout layoutOf(std::size_t room, const WantedRows& wanted) {
    PictureLayout layout;
    std::size_t left = room;
    const auto give = [&left](std::size_t& part, std::size_t upTo) {
        const std::size_t more = std::min(left, std::max(upTo, part) - part);
        part += more;
        left -= more;
    };
    const auto atMost = [](std::size_t rows, std::size_t most) { return std::min(rows, most); };
    give(layout.needsYou, wanted.needsYou);
    give(layout.running, atMost(wanted.running, 3));
    give(layout.queued, atMost(wanted.queued, 2));
    give(layout.review, atMost(wanted.review, 2));
    if (wanted.hasPane && left >= leastPane) {
        give(layout.pane, leastPane);
    }
    give(layout.running, wanted.running);
    if (layout.pane > 0) {
        give(layout.pane, room / 3);
    }
    give(layout.queued, wanted.queued);
    give(layout.review, wanted.review);
    if (layout.pane > 0) {
        give(layout.pane, room);
    }
    return layout;
}

std::size_t firstShown(std::size_t count, std::size_t room, std::size_t selected) {
    if (count <= room || selected < room) {
        return 0;
    }
    return std::min(selected + 1 - room, count - room);
}

}  // namespace quernlight::host
