#include "host/health/running_time.hpp"

namespace quernlight::host {
namespace {

bool isBreak(const ClockReading& last, const ClockReading& now) {
    using std::chrono::abs;
    const auto steady = std::chrono::duration_cast<std::chrono::milliseconds>(now.steady - last.steady);
    const auto difference = (now.wall - last.wall) - steady;
    return steady > RunningTime::longestStep || abs(difference) > RunningTime::longestStep;
}

}  // namespace

ClockReading readClocks(const Clock& clock) {
    return {.wall = clock.now(), .steady = clock.steadyNow()};
}

void RunningTime::look(const ClockReading& now) {
    const bool broken = isBreak(last_, now);
    last_ = now;
    if (broken) {
        since_ = now.wall;
        listener_();
    }
}

}  // namespace quernlight::host
