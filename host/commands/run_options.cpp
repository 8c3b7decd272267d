#include "host/commands/run_options.hpp"

#include <algorithm>
#include <array>
#include <charconv>

#include "host/process/user_error.hpp"
#include "host/settings/backend_address.hpp"

namespace quernlight::host {
namespace {

/// An option that stands above a setting.
struct SettingOption {
    const char* name;
    const char* key;
    const char* help;
};

constexpr std::array<SettingOption, 3> settingOptions{{
    {"--max-sessions", "sessions.max", "Agents at work at the same time"},
    {"--idle-timeout", "sessions.idle_timeout_seconds", "Seconds without activity that fail a session"},
    {"--exit-grace", "sessions.post_exit_grace_seconds",
     "Seconds that the completion comment may come after the agent's exit"},
}};

/// The setting's own rules check it.
void addSetting(CLI::App& app, RunChoices& choices, const SettingOption& option) {
    app.add_option_function<std::string>(
        option.name,
        [&choices, key = option.key](const std::string& text) {
            try {
                checkOverrides({{key, text}});
            } catch (const UserError& error) {
                throw CLI::ValidationError(error.what());
            }
            choices.settings[key] = text;
        },
        std::string(option.help) + " (setting " + option.key + ")");
}

}  // namespace

void addRunChoices(CLI::App& app, RunChoices& choices) {
    app.add_option("--backend", choices.backend, "Address of the bug backend (setting backend.url)");
    for (const SettingOption& option : settingOptions) {
        addSetting(app, choices, option);
    }
    app.add_option("--listen", choices.listenPort,
                   "Port of 127.0.0.1 on which the local API is offered, too, to who has the token; 0 is any")
        ->check(portTrouble);
    app.add_flag("--log-json", choices.logJson, "Log as one JSON object a line");
}

std::vector<std::string> optionsOf(const RunChoices& choices) {
    std::vector<std::string> words;
    const auto add = [&](const char* option, const std::string& value) {
        words.insert(words.end(), {option, value});
    };
    if (choices.backend) {
        add("--backend", *choices.backend);
    }
    for (const SettingOption& option : settingOptions) {
        const auto given = choices.settings.find(option.key);
        if (given != choices.settings.end()) {
            add(option.name, given->second);
        }
    }
    if (choices.listenPort) {
        add("--listen", std::to_string(*choices.listenPort));
    }
    if (choices.logJson) {
        words.emplace_back("--log-json");
    }
    return words;
}

std::string portTrouble(const std::string& text) {
    constexpr int largest = 65535;
    int port = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    const bool isPlain = isWhole && text == std::to_string(port);
    return isPlain && port >= 0 && port <= largest ? "" : "give a port, a number from 0 to 65535";
}

}  // namespace quernlight::host
