#include "host/intake/daily_room.hpp"

#include "host/store/readable_queue.hpp"
#include "host/text/counted.hpp"

namespace quernlight::host {

Task<int> roomForNewBugs(DispatchStore store, Settings settings, Instant now) {
    const Instant midnight = std::chrono::floor<std::chrono::days>(now);
    int taken = co_await store.retired.countAddedSince(midnight);
    for (const BugQueueItem& item : co_await readableItems(store, wholeQueue)) {
        taken += item.addedAt >= midnight ? 1 : 0;
    }
    co_return settings.intakePerDay - taken;
}

std::string describeLeftForLater(int bugs, int perDay) {
    return counted(bugs, "new bug is", "new bugs are") + " left for another day: at most " +
           std::to_string(perDay) + " are taken in a day (setting intake.per_day).";
}

}  // namespace quernlight::host
