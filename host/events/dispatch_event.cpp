#include "host/events/dispatch_event.hpp"

#include "quernlight/platform/spawn.hpp"

namespace quernlight::host {
namespace {

std::string describeExit(int exitCode) {
    return exitCode > 128 ? "ended by " + signalName(exitCode - 128)
                          : "exited (code " + std::to_string(exitCode) + ")";
}

}  // namespace

std::string stageText(const BugProgress& progress) {
    return progress.stage == SessionStage::agentExited && progress.exitCode
               ? describeExit(*progress.exitCode)
               : std::string(stageText(progress.stage));
}

BugProgress restingProgress(const BugQueueItem& item) {
    return {.bugID = item.bugID,
            .appName = item.appName,
            .title = item.title,
            .stage = stageOf(item),
            .detail = item.errorMessage.value_or("")};
}

}  // namespace quernlight::host
