#include "host/health/rate_limiter.hpp"

#include <algorithm>

namespace quernlight::host {

using std::chrono::duration;
using std::chrono::duration_cast;
using std::chrono::nanoseconds;

RateLimiter::RateLimiter(double perSecond, int burst)
    : interval_(duration_cast<nanoseconds>(duration<double>(1.0 / perSecond))),
      allowance_(interval_ * (burst - 1)) {}

RateLimiter::TimePoint RateLimiter::reserve(TimePoint now) {
    next_ = std::max(next_, now - allowance_);
    const TimePoint turn = std::max(now, next_);
    next_ += interval_;
    return turn;
}

bool RateLimiter::takeNow(TimePoint now) {
    const bool isFree = next_ <= now;
    if (isFree) {
        reserve(now);
    }
    return isFree;
}

}  // namespace quernlight::host
