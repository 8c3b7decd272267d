#include "host/commands/usage_error.hpp"

#include <CLI/CLI.hpp>

#include "host/text/near_word.hpp"

namespace quernlight::host {
namespace {

std::vector<std::string> commandsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({})) {
        if (!command->get_group().empty()) {  // else it is not for people
            names.push_back(command->get_name());
        }
    }
    return names;
}

std::vector<std::string> optionsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

std::string listed(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names) {
        list += (list.empty() ? "" : ", ") + name;
    }
    return list;
}

std::string unknown(const std::string& kind, const std::string& word, const std::vector<std::string>& known,
                    const std::string& otherwise) {
    const auto meant = nearWord(word, known);
    return "unknown " + kind + " \"" + word + "\"; " +
           (meant ? "did you mean \"" + *meant + "\"?" : otherwise);
}

/// `word` belongs nowhere in the command `app`, of which `help` is the way to read more.
std::string misplaced(const std::string& word, const CLI::App& app, const std::string& help) {
    const auto commands = commandsOf(app);
    if (word.starts_with('-')) {
        return unknown("option", word.substr(0, word.find('=')), optionsOf(app), help);
    }
    return commands.empty() ? "unexpected word \"" + word + "\"; " + help
                            : unknown("command", word, commands, "there are: " + listed(commands));
}

}  // namespace

std::string usageSentence(const CLI::App& program, const CLI::ParseError& error) {
    const CLI::App* app = &program;
    std::string command = app->get_name();
    while (app->remaining().empty() && !app->get_subcommands().empty()) {
        app = app->get_subcommands().front();
        command += " " + app->get_name();
    }
    const std::string help = "see: " + command + " --help";
    if (!app->remaining().empty()) {
        return misplaced(app->remaining().front(), *app, help);
    }
    const auto commands = commandsOf(*app);
    std::string_view what = error.what();
    what.remove_suffix(what.ends_with('.') ? 1 : 0);
    return commands.empty() ? std::string(what) + "; " + help
                            : "a command is missing; there are: " + listed(commands);
}

}  // namespace quernlight::host
