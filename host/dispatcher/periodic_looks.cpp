#include "host/dispatcher/periodic_looks.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::milliseconds eventInterval{250};
constexpr int eventLooksPerLook = 4;  // around

}  // namespace

Task<void> PeriodicLooks::run() {
    for (int look = 0;; ++look) {
        co_await failureOf(context_, events_.showNew());
        if (look % eventLooksPerLook == 0) {
            co_await lookAround();
        }
        co_await services_.clock.sleepFor(eventInterval);
    }
}

Task<void> PeriodicLooks::lookAround() {
    orphans_.look();
    endIfTokenIsRefused(context_);
    home_.lookForHome();
    co_await failureOf(context_, home_.tryWriting());
    co_await failureOf(context_, refreshSettings());
    context_.changed.notify();
}

Task<void> PeriodicLooks::refreshSettings() {
    for (const std::string& news : co_await settings_.refresh()) {
        services_.board.noteOnce(news);
    }
}

Task<void> PeriodicLooks::watchClocks() {
    while (true) {
        services_.runningTime.look(readClocks(services_.clock));
        co_await services_.clock.sleepFor(std::chrono::seconds(1));
    }
}

}  // namespace quernlight::host
