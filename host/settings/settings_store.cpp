#include "host/settings/settings_store.hpp"

#include "host/process/user_error.hpp"
#include "host/settings/setting_descriptions.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {
namespace {

struct Statement {
    std::string sql;
    SQLValues values;
};

/// Throws UserError.
Statement setting(const std::string& key, const std::string& text) {
    const SettingDescription& description = settingDescription(key);
    Settings checked;
    assignSetting(checked, description, text);
    return {.sql =
                "INSERT INTO settings (key, value, updated_at) VALUES (?, ?, ?) "
                "ON CONFLICT (key) DO UPDATE SET value = excluded.value, updated_at = excluded.updated_at",
            .values = {SQLValue::text(key), SQLValue::text(settingText(checked, description)),
                       SQLValue::text(formatInstant(currentInstant()))}};
}

Statement unsetting(const std::string& key) {
    return {.sql = "DELETE FROM settings WHERE key = ?",
            .values = {SQLValue::text(settingDescription(key).key)}};
}

}  // namespace

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

Task<void> SettingsStore::change(std::map<std::string, std::optional<std::string>> texts) const {
    std::vector<Statement> statements;
    for (const auto& [key, text] : texts) {
        statements.push_back(text ? setting(key, *text) : unsetting(key));
    }
    co_await database_->transaction([&statements](Connection& connection) {
        for (const Statement& statement : statements) {
            connection.execute(statement.sql, statement.values);
        }
    });
}

Task<void> SettingsStore::set(std::string key, std::string text) const {
    Statement statement = setting(key, text);
    co_await database_->execute(std::move(statement.sql), std::move(statement.values));
}

Task<void> SettingsStore::unset(std::string key) const {
    Statement statement = unsetting(key);
    co_await database_->execute(std::move(statement.sql), std::move(statement.values));
}

}  // namespace quernlight::host
