#include "host/progress_board.hpp"

namespace quernlight::host {

BugProgress waitingProgress(const BugQueueItem& item) {
    const bool waits = item.status == QueueItemStatus::waitingForMapping;
    return {.bugID = item.bugID,
            .appName = item.appName,
            .title = item.title,
            .stage = waits ? "waits for a mapping" : "queued"};
}

}  // namespace quernlight::host
