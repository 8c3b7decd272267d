#include "host/dispatcher/orphan_watch.hpp"

#include <unistd.h>

#include "host/process/user_error.hpp"
#include "host/text/terminal_text.hpp"
#include "host/worktree/git_marks.hpp"
#include "quernlight/platform/process_table.hpp"

namespace quernlight::host {
namespace {

std::string describe(bool isKnown, const std::vector<ProcessEntry>& gits) {
    if (!isKnown) {
        return "The processes that run cannot be listed (too few descriptors, perhaps); nothing "
               "starts until it is known that no git of an earlier run is left.";
    }
    return gits.empty() ? ""
                        : "Process " + std::to_string(gits.front().pid) +
                              ", a git that an earlier run left behind, cannot be ended; nothing starts "
                              "until it has ended.";
}

std::string describe(const ProcessEntry& unclaimed) {
    const std::string pid = std::to_string(unclaimed.pid);
    return "Process " + pid + " (" + withoutControls(unclaimed.name) +
           ") was left behind and works in no worktree of a running bug, so it is left alone; look "
           "at it with: ps -fp " +
           pid;
}

}  // namespace

Task<void> OrphanWatch::endGitsOfEarlierOwner() {
    constexpr std::chrono::seconds pause{3};
    while (!context_.isStopping()) {
        const bool isKnown = !processTable().empty();
        const auto gits = co_await endOrphanedGits(context_.services.home);
        const std::string trouble = describe(isKnown, gits);
        context_.services.events.alert({AlertTopic::orphanedGits}, trouble);
        if (trouble.empty()) {
            co_return;
        }
        if (context_.once) {
            throw UserError(trouble);
        }
        co_await context_.services.clock.sleepFor(pause);
    }
}

void OrphanWatch::look() {
    reaper_.sweep();
    const auto claimed = [this](const ProcessEntry& process) { return isClaimed(process); };
    const auto now = context_.services.clock.steadyNow();
    for (const ProcessEntry& process : unclaimed_.due(processTable(), getpid(), claimed, now)) {
        context_.services.events.notice(describe(process));
    }
}

bool OrphanWatch::isClaimed(const ProcessEntry& process) const {
    const std::string gitMark = gitMarkOf(context_.services.home).assignment();
    const bool isOfGit = startedWith(process.pid, gitMark);  // its housekeeping outlives it
    const bool isForPerson = startedWith(process.pid, openedForPerson);
    return isOfGit || isForPerson || isStartedHere(process) || sessions_.haveProcess(process);
}

}  // namespace quernlight::host
