#include "host/service/queue_refusal.hpp"

#include "host/text/shell_text.hpp"

namespace quernlight::host {
namespace {

std::string command(const char* name, const BugQueueItem& item) {
    return std::string("quernlight-dispatch queue ") + name + " " + shellQuoted(item.bugID);
}

std::optional<std::string> refusalOfEnded(QueueAction action, const BugQueueItem& item, bool again) {
    const bool isFinished = item.status == QueueItemStatus::completed;
    if (action == QueueAction::cancel) {
        return "it has left its queue already.";
    }
    if (action == QueueAction::retry && (again || !isFinished)) {
        return std::nullopt;
    }
    if (isFinished) {
        return "its work is done; to have it worked on again all the same: " + command("retry", item) +
               " --again";
    }
    return "it has left its queue; queue it again with: " + command("retry", item);
}

}  // namespace

std::optional<std::string> refusalOf(QueueAction action, const BugQueueItem& item, bool again) {
    if (action == QueueAction::show) {
        return std::nullopt;
    }
    if (isTerminal(item.status)) {
        return refusalOfEnded(action, item, again);
    }
    const bool waitsForStart = item.queueMode == QueueMode::manual && !isReorderLocked(item.status);
    if (action == QueueAction::start && !waitsForStart) {
        return "only bugs that wait in the manual queue are started by hand; put it there with: " +
               command("hold", item);
    }
    return std::nullopt;
}

}  // namespace quernlight::host
