#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/settings/settings.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/storage/database.hpp"

namespace quernlight::host {

/// The settings as they are stored: those that a person has set, and what could not be read.
struct StoredSettings {
    Settings settings{};                       ///< defaults where nothing, or nothing readable, is stored
    std::map<std::string, std::string> set{};  ///< key to text, of what is stored
    std::vector<std::string> troubles{};       ///< one sentence for each stored text that is not allowed
};

/// The `settings` table. Rows with keys that this program does not know are left alone. Several processes may
/// use the table of one database.
class SettingsStore {
  public:
    explicit SettingsStore(std::shared_ptr<Database> database) : database_(std::move(database)) {}

    Task<StoredSettings> read() const;

    /// Throws UserError when there is no such setting or the text is not allowed, and then stores nothing.
    Task<void> set(std::string key, std::string text) const;

    /// Sets those with a text and puts the others back to their defaults: all of them, or none. Throws
    /// UserError as the others do.
    Task<void> change(std::map<std::string, std::optional<std::string>> texts) const;

    /// Back to the default. Throws UserError when there is no such setting.
    Task<void> unset(std::string key) const;

  private:
    std::shared_ptr<Database> database_;
};

}  // namespace quernlight::host
