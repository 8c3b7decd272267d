#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/settings/setting_descriptions.hpp"
#include "host/settings/settings_store.hpp"
#include "quernlight/queue/mapping_repository.hpp"

namespace quernlight::host {

// What a person arranges: mappings and settings, as values.

/// Which repository an app's bugs are to be worked on in.
struct MappingRequest {
    std::string bundleID{};
    std::string appName{};
    std::string repository{};  ///< a checkout, or a directory within one
    std::string baseBranch = "main";
    std::optional<std::string> worktrees{};  ///< absent: beside the repository
};

/// A mapping that was stored.
struct StoredMapping {
    AppMapping mapping{};                 ///< with resolved paths
    std::vector<std::string> warnings{};  ///< a sentence for each thing that keeps work from being pushed now
};

/// A mapping, looked at.
struct MappingCheck {
    AppMapping mapping{};
    std::string trouble{};  ///< in one sentence; empty when bugs can be worked on there
};

/// One setting as it is stored, with what is known of it.
struct SettingValue {
    std::string key{};
    std::string text{};  ///< as it may be set again
    bool isSet = false;  ///< false: the default
    std::string unit{};  ///< empty where there is none
    std::string help{};
    std::string allowed{};  ///< "a whole number from 1 to 64"
    TakesEffect takesEffect{};
};

/// A setting that is set, or put back to its default.
struct SettingChange {
    std::string key{};
    std::optional<std::string> text{};
};

struct SettingList {
    std::vector<SettingValue> values{};   ///< of every setting there is
    std::vector<std::string> troubles{};  ///< one sentence for each stored text that is not heeded
};

/// Throws UserError that names the keys that come near.
SettingValue settingValue(const StoredSettings& stored, const std::string& key);

SettingList settingList(const StoredSettings& stored);

}  // namespace quernlight::host
