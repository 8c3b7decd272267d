#include "host/health/running_time.hpp"

namespace quernlight::host {
namespace {

bool isBreak(const ClockReading& last, const ClockReading& now) {
    using std::chrono::abs;
    const auto steady = std::chrono::duration_cast<std::chrono::milliseconds>(now.steady - last.steady);
    const auto difference = (now.wall - last.wall) - steady;
    return steady > RunningTime::longestStep || abs(difference) > RunningTime::longestStep;
}

void forgetFuture(std::optional<Instant>& moment, Instant now) {
    if (moment > now) {
        moment.reset();
    }
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

WatchedSession countedSince(Instant since, Instant now, WatchedSession session) {
    const auto counted = [&](Instant moment) { return moment < since || moment > now ? since : moment; };
    SessionTimeoutState& activity = session.activity;
    activity.startedAt = counted(activity.startedAt);
    if (activity.exitedAt) {
        activity.exitedAt = counted(*activity.exitedAt);
    }
    forgetFuture(activity.lastOutputAt, now);
    forgetFuture(activity.lastCommentPollWithNewCommentAt, now);
    forgetFuture(session.commentsKnownAt, now);
    return session;
}

}  // namespace quernlight::host
