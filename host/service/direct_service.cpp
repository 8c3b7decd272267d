#include "host/service/direct_service.hpp"

#include <algorithm>

#include "host/events/session_stage.hpp"
#include "host/process/user_error.hpp"
#include "host/service/service_error.hpp"
#include "host/service/stored_operations.hpp"
#include "host/text/shell_text.hpp"
#include "quernlight/platform/identifiers.hpp"

namespace quernlight::host {
namespace {

void requireSetting(const std::string& key) {
    try {
        settingDescription(key);
    } catch (const UserError& error) {
        throw ServiceError(ServiceErrorCode::notFound, error.what());
    }
}

void requireAllowed(const std::string& key, const std::optional<std::string>& text) {
    constexpr char nothing = '\0';
    if (text && text->find(nothing) != std::string::npos) {
        throw ServiceError(ServiceErrorCode::invalid,
                           "The value of " + key + " holds a NUL character; nothing was changed.");
    }
    try {
        Settings checked;
        if (text) {
            assignSetting(checked, settingDescription(key), *text);
        }
    } catch (const UserError& error) {
        throw ServiceError(ServiceErrorCode::invalid, error.what());
    }
}

std::map<std::string, BugProgress> progressOf(const LiveSources& live) {
    return live.progress ? live.progress() : std::map<std::string, BugProgress>();
}

/// What a session does with it, where one works on it, counts above what is stored.
SessionStage stageNow(const std::map<std::string, BugProgress>& progress, const std::string& bugID,
                      SessionStage stored) {
    const auto live = progress.find(bugID);
    return live != progress.end() && isRunning(live->second.stage) ? live->second.stage : stored;
}

Task<std::vector<QueueEntry>> listQueue(StoreAccess& access, const LiveSources& live) {
    DispatchStore store = co_await access.forReading();
    auto entries = co_await queueEntries(std::move(store));
    const auto progress = progressOf(live);
    for (QueueEntry& entry : entries) {
        entry.stage = stageNow(progress, entry.item.bugID, entry.stage);
    }
    co_return entries;
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

WorkOnItem workOn(const LiveSources& live) {
    if (!live.workOn) {
        return {};
    }
    return [&live](const Uuid& itemID) { return std::optional(live.workOn(itemID)); };
}

Task<QueueEntry> changeQueue(StoreAccess& access, const LiveSources& live, QueueChange change) {
    OwnedStore owned = co_await access.forQueue();
    const QueueAction action = change.action;
    QueueEntry entry = co_await changeItem(std::move(owned), std::move(change), workOn(live));
    entry.stage = stageNow(progressOf(live), entry.item.bugID, entry.stage);
    if (action == QueueAction::remove && live.removed) {
        live.removed(entry.item.bugID);
    } else if (live.changed) {
        live.changed(entry);
    }
    co_return entry;
}

Task<QueueEntry> endSession(StoreAccess& access, const LiveSources& live, std::string bugID) {
    DispatchStore store = co_await access.forReading();
    BugQueueItem item = co_await itemNamed(store, std::move(bugID));
    if (!live.stopSession || !live.stopSession(item.id)) {
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

/// A request that nobody can mean makes no home.
Task<AppMapping> changeMapping(StoreAccess& access, const LiveSources& live, MappingRequest request) {
    requireNames(request);
    OwnedStore owned = co_await access.forMappings();
    AppMapping mapping = co_await storeMapping(std::move(owned), std::move(request));
    tellChanged(live);
    co_return mapping;
}

Task<AppMapping> forgetMapping(StoreAccess& access, const LiveSources& live, std::string bundleID) {
    OwnedStore owned = co_await access.forQueue();
    AppMapping mapping = co_await removeMapping(std::move(owned), std::move(bundleID), workOn(live));
    tellChanged(live);
    co_return mapping;
}

Task<std::vector<MappingCheck>> checkAllMappings(StoreAccess& access) {
    DispatchStore store = co_await access.forReading();
    co_return co_await quernlight::host::checkMappings(access.home(), std::move(store));
}

Task<StoredSettings> readSettings(StoreAccess& access) {
    const DispatchStore store = co_await access.forReading();
    const SettingsStore settings(store.database);
    co_return co_await settings.read();
}

Task<SettingList> listSettings(StoreAccess& access) {
    const StoredSettings stored = co_await readSettings(access);
    co_return settingList(stored);
}

Task<SettingValue> showSetting(StoreAccess& access, std::string key) {
    requireSetting(key);
    const StoredSettings stored = co_await readSettings(access);
    co_return settingValue(stored, key);
}

/// `text` absent: the default. A request that nobody can mean makes no home.
Task<SettingValue> changeSetting(StoreAccess& access, std::string key, std::optional<std::string> text) {
    requireSetting(key);
    requireAllowed(key, text);
    const DispatchStore store = co_await access.forSettings(text ? MissingHome::made : MissingHome::refused);
    const SettingsStore settings(store.database);
    if (text) {
        co_await settings.set(key, *text);
    } else {
        co_await settings.unset(key);
    }
    const StoredSettings stored = co_await settings.read();
    co_return settingValue(stored, key);
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

Task<std::shared_ptr<const QuernlightClient>> reach(const BackendAccess& backend) {
    if (!backend) {
        throw ServiceError(ServiceErrorCode::unavailable, "The backend cannot be asked from here.");
    }
    co_return co_await backend();
}

Task<std::vector<QLBugSummaryDTO>> listBugs(const BackendAccess& backend, BugQuery query) {
    const auto client = co_await reach(backend);
    co_return co_await client->fetchBugs(std::move(query.statuses), query.limit);
}

Task<QLBugDetailResponse> showDetail(const BackendAccess& backend, std::string bugID) {
    const auto client = co_await reach(backend);
    co_return co_await client->fetchBugDetailWithServerComments(std::move(bugID));
}

Task<QLCreateBugResponse> file(const BackendAccess& backend, NewBug bug) {
    auto client = co_await reach(backend);
    co_return co_await quernlight::host::fileBug(std::move(client), std::move(bug));
}

Task<QLCommentDTO> post(const BackendAccess& backend, BugComment comment) {
    auto client = co_await reach(backend);
    co_return co_await postComment(std::move(client), std::move(comment));
}

Task<void> changeStatus(const BackendAccess& backend, std::string bugID, std::string status) {
    const auto client = co_await reach(backend);
    co_await client->updateBugStatus(std::move(bugID), std::move(status));
}

Task<void> changePullRequest(const BackendAccess& backend, std::string bugID, std::optional<Url> link) {
    const auto client = co_await reach(backend);
    co_await client->updateBugPRURL(std::move(bugID), std::move(link));
}

/// The item, where the home has a queue and the bug is in it.
Task<std::optional<BugQueueItem>> queued(StoreAccess& access, std::string bugID) {
    try {
        const DispatchStore store = co_await access.forReading();
        co_return co_await store.items.item(std::string_view(bugID));
    } catch (const UserError&) {  // there is no home yet
    }
    co_return std::nullopt;
}

Task<void> removeBug(StoreAccess& access, const LiveSources& live, const BackendAccess& backend,
                     std::string bugID) {
    const auto client = co_await reach(backend);
    const auto item = co_await queued(access, bugID);
    const bool isLocked = item && isReorderLocked(item->status);
    if (item && (isLocked || (live.workOn && live.workOn(item->id) != ItemWork::none))) {
        throw ServiceError(ServiceErrorCode::refused,
                           "Bug " + item->bugID + " is being worked on; cancel that first with: " +
                               "quernlight-dispatch queue cancel " + shellQuoted(item->bugID));
    }
    co_await client->deleteBug(std::move(bugID));
}

Task<void> requireNew(DispatchStore store, std::string bugID) {
    const auto item = co_await store.items.item(std::string_view(bugID));
    const auto retired = co_await store.retired.bug(bugID);
    if (item || retired) {
        throw ServiceError(ServiceErrorCode::refused,
                           retired ? "Bug " + bugID + " was worked on, and its work is merged."
                                   : "Bug " + item->bugID + " is in the queue already (" +
                                         std::string(statusText(*item)) +
                                         "); see: quernlight-dispatch queue show " + item->bugID);
    }
}

/// A new item names its page at the backend, of which only an owner's manager knows the address.
std::shared_ptr<QueueManager> managerFor(const OwnedStore& owned, const LiveSources& live, Url backend) {
    return live.workOn
               ? owned.manager
               : std::make_shared<QueueManager>(owned.store.items, owned.store.mappings, std::move(backend));
}

Task<QueueEntry> addToQueue(StoreAccess& access, const LiveSources& live, const BackendAccess& backend,
                            std::string bugID, QueueMode mode) {
    auto client = co_await reach(backend);
    const OwnedStore owned = co_await access.forMappings();
    const auto manager = managerFor(owned, live, client->baseURL());
    const std::string whole = BugID::normalized(bugID);
    co_await requireNew(owned.store, whole);
    QLBugSummaryDTO bug = co_await bugSummary(std::move(client), whole);
    std::string known = BugID::normalized(bug.id);  // the backend may know it by a longer one
    co_await requireNew(owned.store, std::move(known));
    Task<BugQueueItem> adding = manager->enqueue(std::move(bug), mode);
    BugQueueItem item = co_await std::move(adding);
    QueueEntry entry = co_await queueEntry(owned.store, std::move(item));
    if (live.changed) {
        live.changed(entry);
    }
    co_return entry;
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
    for (QueueEntry& entry : co_await listQueue(access, live)) {
        if (needsAttention(entry.stage)) {
            report.needPerson.push_back(std::move(entry));
        }
    }
    co_return report;
}

}  // namespace

Task<std::vector<QueueEntry>> DirectService::queue() {
    return withServiceErrors(listQueue(*access_, live_));
}

Task<QueueItemDetails> DirectService::queueItem(std::string bugID) {
    return withServiceErrors(showItem(*access_, live_, std::move(bugID)));
}

Task<QueueEntry> DirectService::change(QueueChange change) {
    return withServiceErrors(changeQueue(*access_, live_, std::move(change)));
}

Task<std::vector<AppMapping>> DirectService::mappings() {
    return withServiceErrors(listMappings(*access_));
}

Task<AppMapping> DirectService::setMapping(MappingRequest request) {
    return withServiceErrors(changeMapping(*access_, live_, std::move(request)));
}

Task<AppMapping> DirectService::removeMapping(std::string bundleID) {
    return withServiceErrors(forgetMapping(*access_, live_, std::move(bundleID)));
}

Task<std::vector<MappingCheck>> DirectService::checkMappings() {
    return withServiceErrors(checkAllMappings(*access_));
}

Task<SettingList> DirectService::settings() {
    return withServiceErrors(listSettings(*access_));
}

Task<SettingValue> DirectService::setting(std::string key) {
    return withServiceErrors(showSetting(*access_, std::move(key)));
}

Task<SettingValue> DirectService::setSetting(std::string key, std::string text) {
    return withServiceErrors(changeSetting(*access_, std::move(key), std::move(text)));
}

Task<SettingValue> DirectService::unsetSetting(std::string key) {
    return withServiceErrors(changeSetting(*access_, std::move(key), std::nullopt));
}

Task<std::vector<QLBugSummaryDTO>> DirectService::bugs(BugQuery query) {
    return withServiceErrors(listBugs(backend_, std::move(query)));
}

Task<QLBugDetailResponse> DirectService::bugDetail(std::string bugID) {
    return withServiceErrors(showDetail(backend_, std::move(bugID)));
}

Task<QLCreateBugResponse> DirectService::fileBug(NewBug bug) {
    return withServiceErrors(file(backend_, std::move(bug)));
}

Task<QLCommentDTO> DirectService::comment(BugComment comment) {
    return withServiceErrors(post(backend_, std::move(comment)));
}

Task<void> DirectService::setBugStatus(std::string bugID, std::string status) {
    return withServiceErrors(changeStatus(backend_, std::move(bugID), std::move(status)));
}

Task<void> DirectService::setPullRequest(std::string bugID, std::optional<Url> link) {
    return withServiceErrors(changePullRequest(backend_, std::move(bugID), std::move(link)));
}

Task<void> DirectService::deleteBug(std::string bugID) {
    return withServiceErrors(removeBug(*access_, live_, backend_, std::move(bugID)));
}

Task<QueueEntry> DirectService::enqueue(std::string bugID, QueueMode mode) {
    return withServiceErrors(addToQueue(*access_, live_, backend_, std::move(bugID), mode));
}

Task<std::vector<RunningSession>> DirectService::sessions() {
    return withServiceErrors(listSessions(*access_, live_));
}

Task<QueueEntry> DirectService::stopSession(std::string bugID) {
    return withServiceErrors(endSession(*access_, live_, std::move(bugID)));
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

EventPublisher::Subscription DirectService::subscribe(EventPublisher::Handler handler) {
    return live_.subscribe ? live_.subscribe(std::move(handler)) : nullptr;
}

}  // namespace quernlight::host
