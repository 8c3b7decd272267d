#include "host/progress_board.hpp"

namespace quernlight::host {
namespace {

std::string stageOf(const BugQueueItem& item) {
    switch (item.status) {
        case QueueItemStatus::waitingForMapping:
            return "waits for a mapping";
        case QueueItemStatus::failed:
            return "failed";
        case QueueItemStatus::awaitingUserInput:
            return "waits for the user";
        case QueueItemStatus::completed:
            return "in review";
        case QueueItemStatus::cancelled:
            return "cancelled";
        case QueueItemStatus::startingCodex:
        case QueueItemStatus::running:
        case QueueItemStatus::codexCompleted:
            return stageToBeSettled;
        default:
            return item.queueMode == QueueMode::manual ? "waits for a start" : "queued";
    }
}

}  // namespace

BugProgress restingProgress(const BugQueueItem& item) {
    return {.bugID = item.bugID,
            .appName = item.appName,
            .title = item.title,
            .stage = stageOf(item),
            .detail = item.errorMessage.value_or(""),
            .finished = isTerminal(item.status)};
}

}  // namespace quernlight::host
