#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quernlight::host {

using ChosenHome = std::optional<std::filesystem::path>;  ///< absent: the user's own dispatch home

// `quernlight-dispatch config ...`. Each returns the program's exit status and throws UserError. They may run
// beside a dispatcher that owns the home: it notices what was changed.

int configListCommand(const ChosenHome& home);
int configGetCommand(const ChosenHome& home, const std::string& key);
int configSetCommand(const ChosenHome& home, const std::string& key, const std::string& text);
int configUnsetCommand(const ChosenHome& home, const std::string& key);

/// The settings' reference, in Markdown, made of their descriptions; needs no home.
std::string settingsReference();

}  // namespace quernlight::host
