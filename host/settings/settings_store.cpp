#include "host/settings/settings_store.hpp"

#include "host/process/user_error.hpp"
#include "host/settings/setting_descriptions.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

Task<StoredSettings> SettingsStore::read() const {
    StoredSettings stored;
    for (const Row& row : co_await database_->query("SELECT key, value FROM settings")) {
        const std::string* key = row.at("key").asText();
        const std::string* value = row.at("value").asText();
        if (key && value) {
            stored.set.emplace(*key, *value);
        }
    }
    for (const SettingDescription& description : settingDescriptions()) {
        const auto text = stored.set.find(std::string(description.key));
        try {
            if (text != stored.set.end()) {
                assignSetting(stored.settings, description, text->second);
            }
        } catch (const UserError& error) {
            stored.troubles.push_back(error.what());
        }
    }
    co_return stored;
}

Task<void> SettingsStore::set(std::string key, std::string text) const {
    const SettingDescription& description = settingDescription(key);
    Settings checked;
    assignSetting(checked, description, text);
    SQLValues values{SQLValue::text(key), SQLValue::text(settingText(checked, description)),
                     SQLValue::text(formatInstant(currentInstant()))};
    co_await database_->execute(
        "INSERT INTO settings (key, value, updated_at) VALUES (?, ?, ?) "
        "ON CONFLICT (key) DO UPDATE SET value = excluded.value, updated_at = excluded.updated_at",
        std::move(values));
}

Task<void> SettingsStore::unset(std::string key) const {
    SQLValues values{SQLValue::text(settingDescription(key).key)};
    co_await database_->execute("DELETE FROM settings WHERE key = ?", std::move(values));
}

}  // namespace quernlight::host
