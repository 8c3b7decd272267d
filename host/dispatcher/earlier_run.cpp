#include "host/dispatcher/earlier_run.hpp"

#include <chrono>
#include <utility>

namespace quernlight::host {
namespace {

/// Bugs that are done, and those that no agent has begun, have met nothing that still counts.
bool mayTell(const BugQueueItem& item) {
    const bool isUnderWay = item.status == QueueItemStatus::startingCodex ||
                            item.status == QueueItemStatus::running ||
                            item.status == QueueItemStatus::codexCompleted;
    return isUnderWay || item.status == QueueItemStatus::awaitingUserInput ||
           (item.codexSessionID && !isTerminal(item.status));
}

}  // namespace

Task<EarlierRun> earlierRun(DispatchStore store, std::vector<BugQueueItem> queue, Instant now) {
    EarlierRun run;
    for (const BugQueueItem& item : queue) {
        if (!mayTell(item)) {
            continue;
        }
        const std::vector<QueueEvent> history = co_await store.items.events(item.id);
        std::string question = unansweredQuestion(history);
        if (!question.empty()) {
            run.questions[item.bugID] = std::move(question);
        }
        auto limit = statedLimit(history);
        if (limit && limit->until > now && (!run.limit || limit->until > run.limit->until)) {
            run.limit = std::move(limit);
        }
    }
    co_return run;
}

OutsideFailure pauseFor(const StatedLimit& limit, Instant now) {
    return {.cause = limit.cause,
            .lasts = std::chrono::ceil<std::chrono::seconds>(limit.until - now),
            .until = limit.until,
            .stopsWork = true};
}

}  // namespace quernlight::host
