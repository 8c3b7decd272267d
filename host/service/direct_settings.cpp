#include "host/process/user_error.hpp"
#include "host/service/direct_service.hpp"
#include "host/service/service_error.hpp"

// The service's settings, in this process.

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

/// The settings of a request that nobody can mean make no home.
Task<SettingList> changeSeveral(StoreAccess& access, std::vector<SettingChange> changes) {
    for (const SettingChange& change : changes) {
        requireSetting(change.key);
        requireAllowed(change.key, change.text);
    }
    const DispatchStore store = co_await access.forSettings(MissingHome::made);
    const SettingsStore settings(store.database);
    std::map<std::string, std::optional<std::string>> texts;
    for (SettingChange& change : changes) {
        texts[change.key] = std::move(change.text);
    }
    co_await settings.change(std::move(texts));
    const StoredSettings stored = co_await settings.read();
    co_return settingList(stored);
}

}  // namespace

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

Task<SettingList> DirectService::changeSettings(std::vector<SettingChange> changes) {
    return withServiceErrors(changeSeveral(*access_, std::move(changes)));
}

}  // namespace quernlight::host
