#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/service/configuration_operations.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

// The settings as a text that a person edits: a line "KEY VALUE" for each that is set, and all others as
// comments, explained. Pure.

std::string settingsText(const SettingList& settings);

/// What a person made of it.
struct EditedSettings {
    std::vector<SettingChange> changes{};  ///< against what it was made of
    std::vector<std::string>
        troubles{};  ///< one sentence for each line that cannot be meant, with its number
};

/// A line that is gone puts its setting back to the default. What does not fit on a line was not shown, and
/// stays unless a line sets it.
EditedSettings readSettingsText(std::string_view text, const SettingList& before);

/// The words of the person's editor: VISUAL, else EDITOR, else "vi". Throws UserError for words that cannot
/// be told apart.
std::vector<std::string> editorWords(const EnvironmentMap& environment);

}  // namespace quernlight::host
