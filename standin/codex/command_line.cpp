#include "standin/codex/command_line.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "quernlight/platform/text.hpp"

namespace quernlight::standin::codex {
namespace {

/// Those of the agent's options that have a value behind them.
bool takesValue(std::string_view option) {
    constexpr std::array<std::string_view, 8> known{"-c", "--config", "-p", "--profile",
                                                    "-m", "--model",  "-C", "--cd"};
    return std::find(known.begin(), known.end(), option) != known.end();
}

/// Sets what "KEY=value" sets; a value that is no TOML counts as a text.
void configure(std::string_view setting, CommandLine& line, std::string& command,
               std::vector<std::string>& arguments) {
    constexpr std::string_view commandKey = "mcp_servers.quernlight.command=";
    constexpr std::string_view argumentsKey = "mcp_servers.quernlight.args=";
    constexpr std::string_view projectsKey = "projects=";
    line.hasGoals = line.hasGoals || setting == "features.goals=true";
    line.startsService = line.startsService && setting != "features.daemon_auto_start=false";
    line.looksForUpdates = line.looksForUpdates && setting != "check_for_update_on_startup=false";
    if (setting.starts_with(projectsKey)) {
        line.projects = setting.substr(projectsKey.size());
    } else if (setting.starts_with(commandKey)) {
        const std::string value(setting.substr(commandKey.size()));
        command = parseTomlText(value).value_or(value);
    } else if (setting.starts_with(argumentsKey)) {
        arguments = parseTomlTexts(setting.substr(argumentsKey.size())).value_or(std::vector<std::string>());
    }
}

void skipBlanks(std::string_view& rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r\n"), rest.size()));
}

bool skip(std::string_view& rest, char expected) {
    skipBlanks(rest);
    const bool isThere = !rest.empty() && rest.front() == expected;
    rest.remove_prefix(isThere ? 1 : 0);
    return isThere;
}

/// The character that stands behind a backslash; false for one that may not.
bool unescape(std::string_view& rest, std::string& text) {
    constexpr std::string_view names = "btnfre\"\\";
    constexpr std::string_view characters = "\b\t\n\f\r\x1b\"\\";
    const char name = rest.empty() ? '\0' : rest.front();
    rest.remove_prefix(rest.empty() ? 0 : 1);
    if (const std::size_t index = names.find(name); name != '\0' && index != std::string_view::npos) {
        text += characters[index];
        return true;
    }
    const std::size_t digits = name == 'u' ? 4 : name == 'U' ? 8 : 0;
    std::uint32_t scalar = 0;
    const auto digitsRead =
        std::from_chars(rest.data(), rest.data() + std::min(digits, rest.size()), scalar, 16);
    if (digits == 0 || digitsRead.ptr != rest.data() + digits) {
        return false;
    }
    rest.remove_prefix(digits);
    appendUtf8(text, static_cast<char32_t>(scalar));
    return true;
}

/// A text at the beginning of `rest`, which goes on behind it.
std::optional<std::string> takeText(std::string_view& rest) {
    skipBlanks(rest);
    const char quote = rest.empty() ? '\0' : rest.front();
    if (quote != '"' && quote != '\'') {
        return std::nullopt;
    }
    rest.remove_prefix(1);
    std::string text;
    while (!rest.empty() && rest.front() != quote) {
        const char next = rest.front();
        rest.remove_prefix(1);
        if (quote == '"' && next == '\\') {
            if (!unescape(rest, text)) {
                return std::nullopt;
            }
        } else {
            text += next;
        }
    }
    return skip(rest, quote) ? std::optional(text) : std::nullopt;
}

bool isAtEnd(std::string_view rest) {
    skipBlanks(rest);
    return rest.empty();
}

}  // namespace

bool trusts(std::string_view projects, const std::string& directory) {
    for (const char quote : {'"', '\''}) {
        const std::string key = quote + directory + quote;
        const std::size_t at = projects.find(key);
        if (at != projects.npos) {
            const std::string_view table = projects.substr(at, projects.find('}', at) - at);
            return table.find("trust_level") != table.npos &&
                   table.find("trusted", key.size()) != table.npos && table.find("untrusted") == table.npos;
        }
    }
    return false;
}

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
    CommandLine commandLine;
    std::string toolCommand;
    std::vector<std::string> toolArguments;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        if (takesValue(*argument) && std::next(argument) != arguments.end()) {
            configure(*++argument, commandLine, toolCommand, toolArguments);
        } else if (*argument == "--version") {
            commandLine.showVersion = true;
        } else if (*argument == "--no-alt-screen") {
            commandLine.alternateScreen = false;
        } else if (*argument == "features") {
            commandLine.listFeatures = true;
        } else if (*argument == "login") {
            commandLine.showLogin = true;
        } else if (*argument == "resume") {
            commandLine.resume = true;
        } else if (commandLine.resume && commandLine.resumeID.empty() && !argument->starts_with('-')) {
            commandLine.resumeID = *argument;
        }
    }
    if (!toolCommand.empty()) {
        commandLine.toolServer = std::move(toolArguments);
        commandLine.toolServer.insert(commandLine.toolServer.begin(), std::move(toolCommand));
    }
    return commandLine;
}

std::optional<std::string> parseTomlText(std::string_view value) {
    auto text = takeText(value);
    return isAtEnd(value) ? text : std::nullopt;
}

std::optional<std::vector<std::string>> parseTomlTexts(std::string_view value) {
    if (!skip(value, '[')) {
        return std::nullopt;
    }
    std::vector<std::string> texts;
    while (!skip(value, ']')) {
        auto text = takeText(value);
        skipBlanks(value);
        if (!text || (!skip(value, ',') && !value.starts_with(']'))) {
            return std::nullopt;
        }
        texts.push_back(std::move(*text));
    }
    return isAtEnd(value) ? std::optional(std::move(texts)) : std::nullopt;
}

}  // namespace quernlight::standin::codex
