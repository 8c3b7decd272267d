#include "host/session/request_budget.hpp"

#include <algorithm>

namespace quernlight::host {

using std::chrono::duration;
using std::chrono::duration_cast;
using std::chrono::nanoseconds;

RequestBudget::RequestBudget(double perSecond, int burst)
    : interval_(duration_cast<nanoseconds>(duration<double>(1.0 / perSecond))),
      allowance_(interval_ * (burst - 1)) {}

RequestBudget::TimePoint RequestBudget::reserve(TimePoint now) {
    next_ = std::max(next_, now - allowance_);
    const TimePoint turn = std::max(now, next_);
    next_ += interval_;
    return turn;
}

}  // namespace quernlight::host
