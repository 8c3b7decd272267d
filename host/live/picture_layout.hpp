#pragma once

#include <cstddef>

namespace quernlight::host {

/// How many rows the parts of the picture want; a part with rows has its title among them.
struct WantedRows {
    std::size_t needsYou = 0;
    std::size_t running = 0;
    std::size_t queued = 0;  ///< and, beside it, review
    std::size_t review = 0;  ///< below it, where there is not the width for both
    bool hasPane = false;
};

struct PictureLayout {
    std::size_t needsYou = 0, running = 0, queued = 0, review = 0, pane = 0;

    bool operator==(const PictureLayout&) const = default;
};

/// Who gets how much of the room. What needs a person comes first, then what runs, and all others get enough
/// to be seen before any gets all that it wants; the rest is the pane's. Pure.
PictureLayout layoutOf(std::size_t room, const WantedRows& wanted);

/// The first of `count` entries to show where there is room for so many, so that the selected one is shown.
std::size_t firstShown(std::size_t count, std::size_t room, std::size_t selected);

}  // namespace quernlight::host
