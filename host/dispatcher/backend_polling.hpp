#pragma once

#include <optional>

#include "host/dispatcher/chore.hpp"
#include "host/intake/intake.hpp"
#include "host/retirement/retirement.hpp"

namespace quernlight::host {

/// Asks the backend again and again: for bugs, which are taken in, and for merges, after which bugs are
/// retired. Used on the dispatcher's executor.
class BackendPolling {
  public:
    BackendPolling(ChoreContext& context, Intake& intake, Retirement& retirement)
        : context_(context), services_(context.services), intake_(intake), retirement_(retirement) {}

    /// Until the program stops; with `once` one round, whose failure ends the program. No bug comes in once
    /// this has returned.
    Task<void> takeBugsIn();

    /// Until it is cancelled; not at all with `once`.
    Task<void> retireMerged();

    /// When bugs are asked for next; nothing while they are being asked for, and when they are not any more.
    std::optional<Clock::TimePoint> nextPollAt() const { return nextPollAt_; }

  private:
    Task<void> pauseFor(double Settings::*seconds, int failures = 0,
                        std::optional<Clock::TimePoint>* shownEnd = nullptr);
    std::chrono::milliseconds timeUntil(Clock::TimePoint time) const;

    ChoreContext& context_;
    SessionServices& services_;
    Intake& intake_;
    Retirement& retirement_;
    std::optional<Clock::TimePoint> nextPollAt_{};
};

}  // namespace quernlight::host
