#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/settings/live_settings.hpp"

namespace quernlight::host {

/// How a dispatcher is to run, as far as that is the same whether a person or the system starts it.
struct RunChoices {
    std::optional<std::string> backend{};  ///< absent: the setting
    SettingOverrides settings{};
    std::optional<std::uint16_t> listenPort{};  ///< absent: the socket alone
    bool logJson = false;
};

/// Outlived by them.
void addRunChoices(CLI::App& app, RunChoices& choices);

/// The options that say the same to `run`.
std::vector<std::string> optionsOf(const RunChoices& choices);

/// Why the text is no TCP port; empty when it is one. Pure.
std::string portTrouble(const std::string& text);

}  // namespace quernlight::host
