#include "host/service/direct_service.hpp"

#include <algorithm>

#include "host/events/session_stage.hpp"
#include "host/process/user_error.hpp"
#include "host/service/outcome_operations.hpp"
#include "host/service/preserved_operations.hpp"
#include "host/service/remote_check.hpp"
#include "host/service/review_operations.hpp"
#include "host/service/service_error.hpp"
#include "host/service/stored_operations.hpp"
#include "host/text/shell_text.hpp"
#include "quernlight/platform/identifiers.hpp"

namespace quernlight::host {
namespace {

std::map<std::string, BugProgress> progressOf(const LiveSources& live) {
    return live.progress ? live.progress() : std::map<std::string, BugProgress>();
}

/// What a session does with it, where one works on it, counts above what is stored.
SessionStage stageNow(const std::map<std::string, BugProgress>& progress, const std::string& bugID,
                      SessionStage stored) {
    const auto live = progress.find(bugID);
    return live != progress.end() && isRunning(live->second.stage) ? live->second.stage : stored;
}

Task<QueueList> listQueue(StoreAccess& access, const LiveSources& live) {
    DispatchStore store = co_await access.forReading();
    QueueList list = co_await queueList(std::move(store));
    const auto progress = progressOf(live);
    for (QueueEntry& entry : list.entries) {
        entry.stage = stageNow(progress, entry.item.bugID, entry.stage);
    }
    co_return list;
}

void addLive(QueueItemDetails& details, const LiveSources& live) {
    details.stage = stageNow(progressOf(live), details.item.bugID, details.stage);
    if (live.waits) {
        details.waits = live.waits(details.item.id);
    }
}

Task<QueueItemDetails> showItem(StoreAccess& access, const LiveSources& live, std::string bugID) {
    DispatchStore store = co_await access.forReading();
    QueueItemDetails details = co_await queueItemDetails(std::move(store), std::move(bugID));
    addLive(details, live);
    co_return details;
}

/// The owner reconciles by itself, and does not say when that is done.
Task<std::string> reconcileSoon(const LiveSources& live, BugQueueItem item) {
    if (live.reconcile) {
        live.reconcile(item);
    }
    co_return "What its last session has come to is being found out.";
}

ItemUses usesOf(StoreAccess& access, const LiveSources& live, const BackendAccess& backend) {
    return {.workOn = live.workOn,
            .claim = live.claim,
            .reconcile = [&access, &live, backend](OwnedStore owned, BugQueueItem item) {
                return live.workOn ? reconcileSoon(live, std::move(item))
                                   : reconcileUnattended(access, std::move(owned), backend, std::move(item));
            }};
}

Task<QueueEntry> changeQueue(StoreAccess& access, const LiveSources& live, const BackendAccess& backend,
                             QueueChange change) {
    OwnedStore owned = co_await access.forQueue();
    const QueueAction action = change.action;
    QueueEntry entry =
        co_await changeItem(std::move(owned), std::move(change), usesOf(access, live, backend));
    entry.stage = stageNow(progressOf(live), entry.item.bugID, entry.stage);
    if (action == QueueAction::remove && live.removed) {
        live.removed(entry.item.bugID);
    } else if (live.changed) {
        live.changed(entry);
    }
    co_return entry;
}

/// Whether nobody works on the item though its session has not been seen to its end.
bool isLeftOver(const LiveSources& live, const BugQueueItem& item) {
    const bool isReconciled = live.workOn && live.workOn(item.id) == ItemWork::reconciliation;
    return isReconciled || (!live.workOn && isReorderLocked(item.status));
}

/// What is left of a session without an owner ends when the bug is held.
Task<QueueEntry> endSession(StoreAccess& access, const LiveSources& live, const BackendAccess& backend,
                            std::string bugID) {
    DispatchStore store = co_await access.forReading();
    BugQueueItem item = co_await itemNamed(store, std::move(bugID));
    if (isLeftOver(live, item)) {
        QueueChange hold{.action = QueueAction::moveToManual, .bugID = item.bugID};
        co_return co_await changeQueue(access, live, backend, std::move(hold));
    }
    bool isStopped = false;
    if (live.stopSession) {
        isStopped = co_await live.stopSession(item.id);
    }
    if (!isStopped) {
        throw ServiceError(ServiceErrorCode::refused, "No session works on bug " + item.bugID + " (" +
                                                          std::string(statusText(item)) +
                                                          "), so there is nothing to stop.");
    }
    QueueEntry entry = co_await queueEntry(std::move(store), std::move(item));
    entry.stage = stageNow(progressOf(live), entry.item.bugID, entry.stage);
    co_return entry;
}

Task<std::vector<AppMapping>> listMappings(StoreAccess& access) {
    const DispatchStore store = co_await access.forReading();
    co_return co_await store.mappings.allMappings();
}

void tellChanged(const LiveSources& live) {
    if (live.changed) {
        live.changed(std::nullopt);
    }
}

/// All looks come before the home is owned, or made: a remote may take its time, and a mapping that cannot be
/// used changes nothing.
Task<StoredMapping> changeMapping(StoreAccess& access, const LiveSources& live, MappingRequest request) {
    requireNames(request);
    const std::filesystem::path home = access.chosenHome();
    StoredMapping stored;
    stored.mapping = co_await checkedMapping(home, std::move(request));
    std::string trouble = co_await remoteTrouble(home, stored.mapping);
    if (!trouble.empty()) {
        stored.warnings.push_back(std::move(trouble));
    }
    OwnedStore owned = co_await access.forMappings();
    co_await storeMapping(std::move(owned), stored.mapping);
    tellChanged(live);
    co_return stored;
}

Task<AppMapping> forgetMapping(StoreAccess& access, const LiveSources& live, const BackendAccess& backend,
                               std::string bundleID) {
    OwnedStore owned = co_await access.forQueue();
    AppMapping mapping =
        co_await removeMapping(std::move(owned), std::move(bundleID), usesOf(access, live, backend));
    tellChanged(live);
    co_return mapping;
}

Task<std::vector<MappingCheck>> checkAllMappings(StoreAccess& access) {
    DispatchStore store = co_await access.forReading();
    co_return co_await quernlight::host::checkMappings(access.home(), std::move(store));
}

RunningSession& sessionOf(std::vector<RunningSession>& sessions, const BugProgress& progress) {
    const auto found = std::ranges::find(sessions, progress.bugID, &RunningSession::bugID);
    if (found != sessions.end()) {
        return *found;
    }
    sessions.push_back({.bugID = progress.bugID,
                        .appName = progress.appName,
                        .title = progress.title,
                        .status = QueueItemStatus::queued});
    return sessions.back();
}

/// One that is being prepared is not stored yet.
Task<std::vector<RunningSession>> listSessions(StoreAccess& access, const LiveSources& live) {
    DispatchStore store = co_await access.forReading();
    auto sessions = co_await runningSessions(std::move(store));
    for (const auto& [bugID, progress] : progressOf(live)) {
        if (!isRunning(progress.stage)) {
            continue;
        }
        RunningSession& session = sessionOf(sessions, progress);
        session.stage = progress.stage;
        session.detail = progress.detail;
        session.exitCode = progress.exitCode;
        session.agent = live.agent ? live.agent(bugID) : std::nullopt;
    }
    co_return sessions;
}

Task<BugState> showBug(StoreAccess& access, const LiveSources& live, std::string bugID) {
    DispatchStore store = co_await access.forReading();
    BugState state = co_await bugState(std::move(store), std::move(bugID));
    if (state.queued) {
        addLive(*state.queued, live);
    }
    co_return state;
}

Task<std::vector<ReviewItem>> listReview(StoreAccess& access, const LiveSources& live) {
    DispatchStore store = co_await access.forReading();
    auto review = co_await reviewItems(std::move(store));
    for (ReviewItem& waiting : review) {
        waiting.pullRequest = live.pullRequest ? live.pullRequest(waiting.item.bugID) : std::nullopt;
    }
    co_return review;
}

Task<HealthReport> showHealth(StoreAccess& access, const LiveSources& live) {
    DispatchStore store = co_await access.forReading();
    HealthReport stored = co_await storedHealth(std::move(store));
    if (!live.health) {
        co_return stored;
    }
    HealthReport report = live.health();
    if (live.agentVersion && report.owner) {
        report.owner->agentVersion = co_await live.agentVersion();
    }
    report.alerts.insert(report.alerts.end(), stored.alerts.begin(), stored.alerts.end());
    QueueList queue = co_await listQueue(access, live);
    for (QueueEntry& entry : queue.entries) {
        if (needsAttention(entry.stage)) {
            report.needPerson.push_back(std::move(entry));
        }
    }
    co_return report;
}

}  // namespace

Task<QueueList> DirectService::queue() {
    return withServiceErrors(listQueue(*access_, live_));
}

Task<QueueItemDetails> DirectService::queueItem(std::string bugID) {
    return withServiceErrors(showItem(*access_, live_, std::move(bugID)));
}

Task<QueueEntry> DirectService::change(QueueChange change) {
    return withServiceErrors(changeQueue(*access_, live_, backend_, std::move(change)));
}

Task<std::vector<AppMapping>> DirectService::mappings() {
    return withServiceErrors(listMappings(*access_));
}

Task<StoredMapping> DirectService::setMapping(MappingRequest request) {
    return withServiceErrors(changeMapping(*access_, live_, std::move(request)));
}

Task<AppMapping> DirectService::removeMapping(std::string bundleID) {
    return withServiceErrors(forgetMapping(*access_, live_, backend_, std::move(bundleID)));
}

Task<std::vector<MappingCheck>> DirectService::checkMappings() {
    return withServiceErrors(checkAllMappings(*access_));
}

Task<std::vector<RunningSession>> DirectService::sessions() {
    return withServiceErrors(listSessions(*access_, live_));
}

Task<QueueEntry> DirectService::stopSession(std::string bugID) {
    return withServiceErrors(endSession(*access_, live_, backend_, std::move(bugID)));
}

Task<BugState> DirectService::bug(std::string bugID) {
    return withServiceErrors(showBug(*access_, live_, std::move(bugID)));
}

Task<std::vector<ReviewItem>> DirectService::review() {
    return withServiceErrors(listReview(*access_, live_));
}

Task<HealthReport> DirectService::health() {
    return withServiceErrors(showHealth(*access_, live_));
}

Task<Report> DirectService::report(Instant since) {
    return withServiceErrors(makeReport(*access_, live_, backend_, since));
}

Task<PreservedList> DirectService::preserved(ListRange range) {
    return withServiceErrors(listPreserved(*access_, gits_, range));
}

Task<PreservedDetails> DirectService::preservedWork(std::string name) {
    return withServiceErrors(showPreserved(*access_, gits_, std::move(name)));
}

Task<RestoredWork> DirectService::restorePreserved(RestoreRequest request) {
    return withServiceErrors(restore(*access_, gits_, std::move(request)));
}

Task<ReviewStates> DirectService::reviewStates(ListRange range) {
    return withServiceErrors(listReviewStates(*access_, live_, backend_, range));
}

Task<std::vector<ReapedBug>> DirectService::reap(bool dryRun) {
    return withServiceErrors(reapMerged(*access_, live_, backend_, dryRun));
}

EventSubscription DirectService::subscribe(const boost::asio::any_io_executor&, EventListener listener) {
    if (listener.lookAnew) {
        listener.lookAnew();
    }
    return live_.subscribe && listener.happened ? live_.subscribe(std::move(listener.happened)) : nullptr;
}

}  // namespace quernlight::host
