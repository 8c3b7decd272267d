#pragma once

#include <chrono>
#include <functional>

#include "host/process/clock.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// Both clocks at one moment.
struct ClockReading {
    Instant wall{};
    std::chrono::steady_clock::time_point steady{};  ///< nobody sets it
};

ClockReading readClocks(const Clock& clock);

/// Since when the machine and this program have run without a break, by looks at both clocks. A machine that
/// slept, a program that was stopped and a wall clock that was set all show as clocks that do not go on as
/// they did; an agent's silence of before tells nothing then. Used on one executor.
class RunningTime {
  public:
    /// Told of each break.
    using Listener = std::function<void()>;

    /// More than lies between two looks of a program that runs, and than a clock is set by day to day.
    static constexpr std::chrono::seconds longestStep{5};

    RunningTime(const ClockReading& begin, Listener listener)
        : last_(begin), since_(begin.wall), listener_(std::move(listener)) {}

    /// Wanted once a second at least, and before `since` is used.
    void look(const ClockReading& now);

    /// By the wall clock as it is now.
    Instant since() const { return since_; }

  private:
    ClockReading last_;
    Instant since_;
    Listener listener_;
};

}  // namespace quernlight::host
