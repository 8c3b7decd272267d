#include "host/service/direct_service.hpp"

#include "host/process/user_error.hpp"
#include "host/service/service_error.hpp"
#include "host/service/stored_operations.hpp"

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
    try {
        Settings checked;
        if (text) {
            assignSetting(checked, settingDescription(key), *text);
        }
    } catch (const UserError& error) {
        throw ServiceError(ServiceErrorCode::invalid, error.what());
    }
}

Task<std::vector<QueueEntry>> listQueue(StoreAccess& access) {
    DispatchStore store = co_await access.forReading();
    co_return co_await queueEntries(std::move(store));
}

Task<QueueItemDetails> showItem(StoreAccess& access, std::string bugID) {
    DispatchStore store = co_await access.forReading();
    co_return co_await queueItemDetails(std::move(store), std::move(bugID));
}

Task<QueueEntry> changeQueue(StoreAccess& access, QueueChange change) {
    OwnedStore owned = co_await access.forQueue();
    co_return co_await changeItem(std::move(owned), std::move(change));
}

Task<std::vector<AppMapping>> listMappings(StoreAccess& access) {
    const DispatchStore store = co_await access.forReading();
    co_return co_await store.mappings.allMappings();
}

/// A request that nobody can mean makes no home.
Task<AppMapping> changeMapping(StoreAccess& access, MappingRequest request) {
    requireNames(request);
    OwnedStore owned = co_await access.forMappings();
    co_return co_await storeMapping(std::move(owned), std::move(request));
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

Task<std::vector<RunningSession>> listSessions(StoreAccess& access) {
    DispatchStore store = co_await access.forReading();
    co_return co_await runningSessions(std::move(store));
}

Task<BugState> showBug(StoreAccess& access, std::string bugID) {
    DispatchStore store = co_await access.forReading();
    co_return co_await bugState(std::move(store), std::move(bugID));
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
    report.alerts.insert(report.alerts.end(), stored.alerts.begin(), stored.alerts.end());
    report.needPerson = std::move(stored.needPerson);
    co_return report;
}

}  // namespace

Task<std::vector<QueueEntry>> DirectService::queue() {
    return withServiceErrors(listQueue(*access_));
}

Task<QueueItemDetails> DirectService::queueItem(std::string bugID) {
    return withServiceErrors(showItem(*access_, std::move(bugID)));
}

Task<QueueEntry> DirectService::change(QueueChange change) {
    return withServiceErrors(changeQueue(*access_, std::move(change)));
}

Task<std::vector<AppMapping>> DirectService::mappings() {
    return withServiceErrors(listMappings(*access_));
}

Task<AppMapping> DirectService::setMapping(MappingRequest request) {
    return withServiceErrors(changeMapping(*access_, std::move(request)));
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

Task<std::vector<RunningSession>> DirectService::sessions() {
    return withServiceErrors(listSessions(*access_));
}

Task<BugState> DirectService::bug(std::string bugID) {
    return withServiceErrors(showBug(*access_, std::move(bugID)));
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
