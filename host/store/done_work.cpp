#include "host/store/done_work.hpp"

#include <algorithm>

namespace quernlight::host {
namespace {

Instant lastSeen(const SessionAttemptRecord& attempt, const WorkPeriod& period, bool isLast) {
    if (attempt.endedAt) {
        return *attempt.endedAt;
    }
    return period.isWorkedOn && isLast ? period.until : attempt.lastOutputAt.value_or(attempt.startedAt);
}

}  // namespace

DoneWork doneWork(const std::vector<SessionAttemptRecord>& attempts, const WorkPeriod& period) {
    DoneWork work;
    std::chrono::milliseconds worked{0};
    for (const SessionAttemptRecord& attempt : attempts) {
        const bool isLast = &attempt == &attempts.back();
        const Instant end = lastSeen(attempt, period, isLast);
        if (end < period.since || attempt.startedAt > period.until) {
            continue;
        }
        ++work.attempts;
        worked += std::max(std::min(end, period.until) - std::max(attempt.startedAt, period.since),
                           std::chrono::milliseconds::zero());
        work.startedAt = work.startedAt.value_or(attempt.startedAt);
        work.endedAt = attempt.endedAt;
    }
    work.worked = std::chrono::floor<std::chrono::seconds>(worked);
    return work;
}

}  // namespace quernlight::host
