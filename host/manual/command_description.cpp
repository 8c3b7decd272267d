#include "host/manual/command_description.hpp"

namespace quernlight::host {

std::string joined(const std::vector<std::string>& words, std::string_view between) {
    std::string text;
    for (const std::string& word : words) {
        text += text.empty() ? "" : between;
        text += word;
    }
    return text;
}

std::string fullName(const CommandDescription& command) {
    const std::string path = joined(command.path, " ");
    return std::string(programName) + (path.empty() ? "" : " ") + path;
}

std::vector<const CommandDescription*> shownCommands(const CommandDescription& command) {
    std::vector<const CommandDescription*> shown;
    for (const CommandDescription& beneath : command.commands) {
        if (!beneath.isHidden) {
            shown.push_back(&beneath);
        }
    }
    return shown;
}

std::string argumentsUsage(const CommandDescription& command) {
    std::vector<std::string> parts;
    for (const OptionDescription& argument : command.arguments) {
        const std::string name = argument.value + (argument.isRepeatable ? "..." : "");
        parts.push_back(argument.isRequired ? name : "[" + name + "]");
    }
    return joined(parts, " ");
}

std::string usageOf(const CommandDescription& command) {
    std::vector<std::string> parts{"[OPTIONS]"};
    for (const OptionDescription& option : command.options) {
        if (option.isRequired) {
            parts.push_back(option.names.back() + " " + option.value);
        }
    }
    if (!command.arguments.empty()) {
        parts.push_back(argumentsUsage(command));
    }
    if (!shownCommands(command).empty()) {
        parts.emplace_back("COMMAND");
    }
    return joined(parts, " ");
}

std::string namesOf(const OptionDescription& option) {
    return joined(option.names, ", ") + (option.value.empty() ? "" : " " + option.value);
}

}  // namespace quernlight::host
