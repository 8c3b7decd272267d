#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/settings/settings_store.hpp"

namespace quernlight::host {

/// Values given on the command line, key to text; they stand above what is stored, for one run.
using SettingOverrides = std::map<std::string, std::string>;

/// Throws UserError when one of them is not allowed.
void checkOverrides(const SettingOverrides& overrides);

/// What a look at the stored settings has shown, in one sentence each.
struct SettingsRefresh {
    std::vector<std::string> changes{};   ///< since the last look
    std::vector<std::string> troubles{};  ///< stored texts that are not allowed: their defaults hold instead
};

/// The settings of a program that runs: what is stored, read again from time to time, under the overrides.
/// Used on one executor.
class LiveSettings {
  public:
    LiveSettings(SettingsStore store, SettingOverrides overrides);

    /// Reads what is stored. Throws DatabaseError and then changes nothing.
    Task<SettingsRefresh> refresh();

    /// As they were at the last `refresh`. The reference stays valid and follows later ones.
    const Settings& now() const { return now_; }

  private:
    const SettingsStore store_;
    const SettingOverrides overrides_;
    Settings now_;
    bool isFirst_ = true;
};

}  // namespace quernlight::host
