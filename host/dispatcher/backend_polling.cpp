#include "host/dispatcher/backend_polling.hpp"

#include <algorithm>

#include "host/session/comment_poll.hpp"

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds firstListPause{250};
constexpr std::chrono::seconds longestStep{1};

milliseconds intervalOf(double seconds) {
    return std::chrono::ceil<milliseconds>(std::chrono::duration<double>(seconds));
}

}  // namespace

Task<void> BackendPolling::takeBugsIn() {
    int failures = 0;
    do {
        std::exception_ptr trouble;
        if (services_.homeIsInPlace()) {
            trouble = co_await runRound(context_, intake_.takeIn());
        }
        failures = trouble ? failures + 1 : 0;
        if (trouble && context_.once) {
            context_.endProgram(trouble);
        }
        context_.changed.notify();
        if (!context_.once) {
            co_await pauseFor(&Settings::pollBugsSeconds, failures, &nextPollAt_);
            nextPollAt_.reset();
        }
    } while (!context_.once && !context_.isStopping());
}

/// What the backend lists is known first, so that it need not be asked for each bug.
Task<void> BackendPolling::retireMerged() {
    while (!intake_.listed().isKnown()) {
        co_await services_.clock.sleepFor(firstListPause);
    }
    while (!context_.once) {
        if (services_.homeIsInPlace()) {
            co_await runRound(context_, retirement_.retireMerged());
        }
        co_await pauseFor(&Settings::pollMergeSeconds);
    }
}

/// Longer after failures, and until the backend wants to be asked again. In short steps, so that a changed
/// setting counts for the pause that has begun.
Task<void> BackendPolling::pauseFor(double Settings::*seconds, int failures,
                                    std::optional<Clock::TimePoint>* shownEnd) {
    const auto begun = services_.clock.steadyNow();
    const auto end = [&]() -> Clock::TimePoint {
        const milliseconds pause = pauseBeforePoll(intervalOf(services_.settings.*seconds), failures, 0);
        return std::max<Clock::TimePoint>(begun + pause, services_.health.askAgainAt());
    };
    for (auto rest = timeUntil(end()); rest > rest.zero(); rest = timeUntil(end())) {
        if (shownEnd) {
            *shownEnd = end();
        }
        co_await services_.clock.sleepFor(std::min<milliseconds>(rest, longestStep));
    }
}

milliseconds BackendPolling::timeUntil(Clock::TimePoint time) const {
    return std::chrono::ceil<milliseconds>(time - services_.clock.steadyNow());
}

}  // namespace quernlight::host
