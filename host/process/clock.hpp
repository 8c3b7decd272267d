#pragma once

#include <chrono>

#include "quernlight/platform/async_signal.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// The time, and waits for it. Whoever decides by the time or waits for it is given one, so that a test can
/// step both. Used on one executor; outlives who waits.
class Clock {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    /// The civil time, which may be set.
    virtual Instant now() const = 0;

    /// The time since some moment, which nobody sets.
    virtual TimePoint steadyNow() const = 0;

    /// Returns at `time`, at once when it has passed. Cancellation ends the wait with `operation_aborted`.
    virtual Task<void> sleepUntil(TimePoint time) = 0;

    Task<void> sleepFor(std::chrono::nanoseconds time);

    /// Returns after a notification of the signal, or at `deadline` at the latest; the signal keeps what it
    /// is told meanwhile. Cancelled as its `wait`.
    Task<void> waitUntil(AsyncSignal signal, TimePoint deadline);
};

/// The system's own clocks.
class SystemClock final : public Clock {
  public:
    Instant now() const override;
    TimePoint steadyNow() const override;
    Task<void> sleepUntil(TimePoint time) override;
};

}  // namespace quernlight::host
