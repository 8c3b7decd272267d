#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quernlight::host {

/// An option of a command, or one of its arguments.
struct OptionDescription {
    std::vector<std::string> names{};  ///< "-h" and "--help"; of an argument the one that it goes by
    std::string value{};               ///< what it takes, like FILE; empty: it takes nothing
    std::string help{};
    bool isRequired = false;
    bool isRepeatable = false;

    bool operator==(const OptionDescription&) const = default;
};

/// One command with those beneath it: what help, manual pages and completion are made of.
struct CommandDescription {
    std::vector<std::string> path{};  ///< the words that choose it; empty for the program itself
    std::string help{};
    bool isHidden = false;
    std::vector<OptionDescription> arguments{};  ///< in their order
    std::vector<OptionDescription> options{};
    std::vector<CommandDescription> commands{};

    bool operator==(const CommandDescription&) const = default;
};

inline constexpr std::string_view programName = "quernlight-dispatch";

std::string joined(const std::vector<std::string>& words, std::string_view between);

/// What is typed for it: "quernlight-dispatch queue show".
std::string fullName(const CommandDescription& command);

/// Those beneath it that are shown to people.
std::vector<const CommandDescription*> shownCommands(const CommandDescription& command);

/// Its arguments, as a line of use has them: "BUG [TEXT...]".
std::string argumentsUsage(const CommandDescription& command);

/// The line of use behind the command's name: options, of which those that it requires are named, arguments.
std::string usageOf(const CommandDescription& command);

/// "-h, --help", or "--home DIR".
std::string namesOf(const OptionDescription& option);

}  // namespace quernlight::host
