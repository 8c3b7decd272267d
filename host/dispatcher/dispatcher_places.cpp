#include <set>

#include <unistd.h>

#include "host/dispatcher/dispatcher.hpp"
#include "host/dispatcher/start_request.hpp"
#include "host/health/failure_policy.hpp"
#include "host/process/caught_exception.hpp"
#include "host/process/process_tree.hpp"
#include "host/worktree/resolved_mapping.hpp"
#include "quernlight/platform/available_memory.hpp"
#include "quernlight/platform/spawn_logged.hpp"

namespace quernlight::host {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds restAfterTrouble{5};

}  // namespace

/// Starts what waits, in list order, as long as there are places and what happens can be stored. An item that
/// has a session is never started again.
Task<void> Dispatcher::fillFreePlaces() {
    for (BugQueueItem& item : co_await services_.store.items.items()) {
        const bool isFull = std::ssize(sessions_) >= services_.settings.maxSessions;
        if (stopping_ || isFull || !services_.disk.isWell() || !services_.homeIsInPlace()) {
            co_return;
        }
        const bool startable = co_await mayStart(item);
        if (startable && memoryIsShort()) {
            co_return;
        }
        if (startable) {
            co_await start(std::move(item));
        }
    }
}

/// A bug that waited for the end of a pause may have been cancelled, or mapped elsewhere.
Task<void> Dispatcher::endUnusedPauses() {
    if (!services_.startPauses.areAny()) {
        co_return;
    }
    std::set<std::string> repositories;
    for (const BugQueueItem& item : co_await services_.store.items.items()) {
        const auto mapping = co_await services_.store.mappings.mapping(item.bundleID);
        if (mapping && item.status == QueueItemStatus::queued) {
            repositories.insert(resolved(*mapping).repoPath);
        }
    }
    services_.startPauses.endUnused(repositories);
}

Task<bool> Dispatcher::mayStart(BugQueueItem item) {
    if (item.status != QueueItemStatus::queued || isBusy(item.id) || rests(item.id)) {
        co_return false;
    }
    const bool wanted = co_await isWanted(item);
    const bool paused = co_await isPaused(item);
    if (!wanted || paused) {
        co_return false;
    }
    const std::string reason = co_await blocker(item);
    services_.board.alert("starting " + item.bugID,
                          reason.empty() ? "" : "Bug " + item.bugID + " waits: " + reason);
    co_return reason.empty();
}

/// Items of the manual queue wait until a person starts them.
Task<bool> Dispatcher::isWanted(BugQueueItem item) const {
    if (item.queueMode == QueueMode::automatic) {
        co_return true;
    }
    co_return startIsRequested(co_await services_.store.items.events(item.id));
}

/// With `once` what has failed is not tried again, since nobody is there to put the cause right meanwhile.
Task<bool> Dispatcher::isPaused(BugQueueItem item) const {
    const auto mapping = co_await services_.store.mappings.mapping(item.bundleID);
    const std::string repository = mapping ? resolved(*mapping).repoPath : "";
    const StartPauses& pauses = services_.startPauses;
    co_return options_.once ? pauses.trouble(repository).has_value()
                            : pauses.arePaused(repository, steady_clock::now());
}

/// Why it would not be safe to start in the bug's worktree now; empty when it is.
Task<std::string> Dispatcher::blocker(BugQueueItem item) const {
    const auto attempt = co_await services_.store.attempts.latestAttempt(item.id);
    const auto sessionID = attempt ? parseUuid(attempt->completionMarker) : std::nullopt;
    if (!sessionID) {
        co_return "";
    }
    const auto alive = ProcessTree(*sessionID).alive();
    const auto orphan = attempt->agentWorkspacePath
                            ? orphanIn(*attempt->agentWorkspacePath, processTable(), getpid())
                            : std::nullopt;
    if (alive.empty() && !orphan) {
        co_return "";
    }
    const pid_t pid = alive.empty() ? orphan->pid : alive.front().pid;
    co_return "process " + std::to_string(pid) +
        " still runs in its worktree; it starts once that has ended.";
}

bool Dispatcher::memoryIsShort() {
    constexpr std::uint64_t mebibyte = 1024 * 1024;
    const auto available = availableMemory();
    const auto floor = static_cast<std::uint64_t>(services_.settings.memoryFloorMiB);
    const bool isShort = available && *available / mebibyte < floor;
    services_.board.alert("memory", isShort ? "No session is started while less than " +
                                                  std::to_string(floor) + " MiB of memory are available."
                                            : "");
    return isShort;
}

/// The list is older than the pause for each look before this one, so the item is read once more.
Task<void> Dispatcher::start(BugQueueItem listed) {
    const auto current = co_await services_.store.items.item(listed.id);
    if (!current || current->status != QueueItemStatus::queued) {
        co_return;
    }
    BugQueueItem item = *current;
    const auto mapping = co_await services_.store.mappings.mapping(item.bundleID);
    if (!mapping) {
        co_return co_await services_.manager.markFailed(
            item.id,
            "The repository mapping of " + item.bundleID + " is gone; set it again with \"map set\".");
    }
    if (stopping_ || isBusy(item.id) || !services_.disk.isWell() || !services_.homeIsInPlace()) {
        co_return;
    }
    const Uuid itemID = item.id;
    const std::string name = "the session of bug " + item.bugID;
    auto session = std::make_shared<BugSession>(services_, std::move(item), *mapping);
    sessions_.emplace(itemID, session);
    spawnLogged(executor_, name, runSession(std::move(session), itemID));
}

/// Whether its last session ended on trouble with the disk a moment ago; it would not fare better at once.
bool Dispatcher::rests(const Uuid& itemID) {
    forgetRested();
    return resting_.contains(itemID);
}

void Dispatcher::forgetRested() {
    std::erase_if(resting_, [](const auto& rest) { return steady_clock::now() >= rest.second; });
}

/// What a session could not store of its end is settled as after a crash.
Task<void> Dispatcher::runSession(std::shared_ptr<BugSession> session, Uuid itemID) {
    const std::exception_ptr trouble = co_await caughtException(session->run());
    sessions_.erase(itemID);
    if (trouble) {
        const FailurePolicy policy = failurePolicy(trouble, FailureScope::session);
        const Interruption cause{.reason = reasonToReconcile(policy),
                                 .failsItem = policy.kind == FailureKind::reportUnknown};
        if (!cause.failsItem) {
            services_.board.note("Bug " + session->item().bugID + ": " + cause.reason);
            unstoredEnds_ += stopping_ ? 1 : 0;
        }
        BugProgress waiting = restingProgress(session->item());
        waiting.stage = SessionStage::toReconcile;
        services_.board.show(waiting);
        resting_[itemID] = steady_clock::now() + restAfterTrouble;
        unreconciled_.emplace(itemID, Unreconciled{.item = session->item(), .cause = cause});
        reconciliationWanted_.notify();
        take(trouble);
    }
    changed_.notify();
}

}  // namespace quernlight::host
