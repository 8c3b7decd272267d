#include "host/commands/command_tree.hpp"

#include <algorithm>

#include <unistd.h>
#include <CLI/CLI.hpp>

#include "host/manual/command_notes.hpp"
#include "host/view/terminal_style.hpp"

namespace quernlight::host {
namespace {

std::string longestName(const CLI::Option& option) {
    return option.get_positional() ? option.get_name(true) : option.get_name();
}

bool takesValue(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

std::vector<std::string> namesOf(const CLI::Option& option) {
    if (option.get_positional()) {
        return {option.get_name(true)};
    }
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

/// Without what CLI11 adds of its checks, "SHELL:{bash,zsh}".
std::string typeName(const CLI::Option& option) {
    const std::string name = option.get_type_name();
    return name.substr(0, name.find(':'));
}

OptionDescription described(const CLI::Option& option) {
    return {.names = namesOf(option),
            .value = takesValue(option) ? typeName(option) : "",
            .help = option.get_description(),
            .isRequired = option.get_required(),
            .isRepeatable = option.get_items_expected_max() > 1};
}

/// The program's own path is empty.
std::vector<std::string> pathTo(const CLI::App& command) {
    std::vector<std::string> path;
    for (const CLI::App* app = &command; app->get_parent(); app = app->get_parent()) {
        path.insert(path.begin(), app->get_name());
    }
    return path;
}

}  // namespace

void nameValues(CLI::App& command) {
    for (CLI::Option* option : command.get_options({})) {
        if (takesValue(*option)) {
            option->type_name(valueName(longestName(*option), typeName(*option)));
        }
    }
    for (CLI::App* beneath : command.get_subcommands({})) {
        nameValues(*beneath);
    }
}

CommandDescription descriptionOf(const CLI::App& command) {
    CommandDescription description{.path = pathTo(command),
                                   .help = command.get_description(),
                                   .isHidden = command.get_parent() && command.get_group().empty()};
    for (const CLI::Option* option : command.get_options({})) {
        if (!option->get_group().empty()) {
            (option->get_positional() ? description.arguments : description.options)
                .push_back(described(*option));
        }
    }
    for (const CLI::App* beneath : command.get_subcommands({})) {
        description.commands.push_back(descriptionOf(*beneath));
    }
    return description;
}

std::size_t helpColumns() {
    constexpr std::size_t leastColumns = 40;
    constexpr std::size_t mostColumns = 100;
    return std::clamp(terminalColumns(STDOUT_FILENO), leastColumns, mostColumns);
}

}  // namespace quernlight::host
