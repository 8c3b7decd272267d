#include "host/events/standing_wish.hpp"

#include <cstddef>
#include <cstdlib>

#include "host/events/event_kind.hpp"

namespace quernlight::host {
namespace {

/// Whether it grants a wish, or makes it moot: the item has ended, or a person wants something else.
bool settlesWishes(EventKind kind) {
    switch (kind) {
        case EventKind::queueModeChanged:
        case EventKind::sessionStopped:
        case EventKind::cancelled:
        case EventKind::completed:
        case EventKind::awaitingUserInput:
        case EventKind::failed:
        case EventKind::retried:
        case EventKind::startRequested:
            return true;
        default:
            return false;
    }
}

}  // namespace

StandingWish standingWish(const std::vector<QueueEvent>& events) {
    StandingWish wish = StandingWish::none;
    for (const QueueEvent& event : events) {
        const auto kind = parseEventKind(event.kind);
        if (kind == EventKind::holdRequested) {
            wish = StandingWish::hold;
        } else if (kind == EventKind::cancelRequested) {
            wish = StandingWish::cancel;
        } else if (kind && settlesWishes(*kind)) {
            wish = StandingWish::none;
        }
    }
    return wish;
}

/// The two events of a stop stand side by side.
bool wasHeldByStop(const std::vector<QueueEvent>& events) {
    constexpr std::ptrdiff_t none = -9;
    std::ptrdiff_t moved = none;
    std::ptrdiff_t stopped = none;
    std::ptrdiff_t place = 0;
    for (const QueueEvent& event : events) {
        const auto kind = parseEventKind(event.kind);
        moved = kind == EventKind::queueModeChanged ? place : moved;
        stopped = kind == EventKind::sessionStopped ? place : stopped;
        ++place;
    }
    return moved != none && stopped != none && std::abs(moved - stopped) == 1;
}

}  // namespace quernlight::host
