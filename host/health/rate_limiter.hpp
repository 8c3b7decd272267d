#pragma once

#include <chrono>

namespace quernlight::host {

/// How often something may be asked for: a bucket of `burst` requests that fills
/// at `perSecond`. Each request reserves its turn and waits until then; turns are given in the order of
/// asking. A decision of times only, used on one executor.
class RateLimiter {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    RateLimiter(double perSecond, int burst);

    /// When the request that is asked for now may be sent; at the earliest `now`.
    TimePoint reserve(TimePoint now);

    /// Takes a turn if there is one at once; for requests that are refused otherwise.
    bool takeNow(TimePoint now);

  private:
    const std::chrono::nanoseconds interval_;
    const std::chrono::nanoseconds allowance_;  // how far turns may run ahead of the steady rate
    TimePoint next_{};                          // the steady rate's next turn
};

}  // namespace quernlight::host
