#pragma once

#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/settings/settings.hpp"

namespace quernlight::host {

/// When a changed setting is heeded by a dispatcher that runs.
enum class TakesEffect { atOnce, withTheNextSession, atTheNextStart };

using SettingMember = std::variant<std::string Settings::*, int Settings::*, double Settings::*,
                                   bool Settings::*, std::vector<std::string> Settings::*>;

/// All that is known of one setting.
struct SettingDescription {
    std::string_view key;
    SettingMember member;
    std::string_view unit;  ///< "s", "MiB", "characters", ...; empty where there is none
    double least;           ///< of numbers, and of the number of words in a list
    double most;
    TakesEffect takesEffect;
    std::string_view help;  ///< one sentence
};

/// Every setting, in the order in which they are listed.
std::span<const SettingDescription> settingDescriptions();

/// The description of a key. Throws UserError that names the keys that come near.
const SettingDescription& settingDescription(std::string_view key);

/// Stores what `text` says in `settings`. Throws UserError with what is allowed when it is none of that, and
/// then changes nothing.
void assignSetting(Settings& settings, const SettingDescription& description, std::string_view text);

/// The setting's value as `assignSetting` reads it.
std::string settingText(const Settings& settings, const SettingDescription& description);

/// The value as it is shown to people: "512 MiB", and "(none)" for an empty one.
std::string shownSetting(const std::string& text, std::string_view unit);

/// What may be assigned: "a whole number from 1 to 64".
std::string describeAllowed(const SettingDescription& description);

/// "at once", "with the next session" or "at the next start".
std::string_view describe(TakesEffect takesEffect);

/// The settings' reference, in Markdown, made of their descriptions.
std::string settingsReference();

}  // namespace quernlight::host
