#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/command_line/command_line.hpp"
#include "host/command_line/path_option.hpp"
#include "host/commands/config_command.hpp"

namespace quernlight::host {
namespace {

struct ConfigOptions {
    ChosenHome home;
    std::string key;
    std::string text;
};

template <class Command>
CLI::App* add(CLI::App& config, const char* name, const char* help,
              const std::shared_ptr<ConfigOptions>& options, ChosenCommand& chosen, Command command) {
    CLI::App* app = config.add_subcommand(name, help);
    addHomeOption(*app, options->home);
    app->callback([options, &chosen, command] { chosen = [options, command] { return command(*options); }; });
    return app;
}

int printReference() {
    std::cout << settingsReference() << std::flush;
    return 0;
}

}  // namespace

void addConfigCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<ConfigOptions>();
    CLI::App* config = program.add_subcommand("config", "The settings");
    config->require_subcommand(1);
    add(*config, "list", "List all settings with their values", options, chosen,
        [](const ConfigOptions& given) { return configListCommand(given.home); });
    add(*config, "get", "Print one setting's value", options, chosen,
        [](const ConfigOptions& given) { return configGetCommand(given.home, given.key); })
        ->add_option("setting", options->key, "Its name, like sessions.max")
        ->required();
    CLI::App* set = add(*config, "set", "Set one", options, chosen, [](const ConfigOptions& given) {
        return configSetCommand(given.home, given.key, given.text);
    });
    set->add_option("setting", options->key, "Its name, like sessions.max")->required();
    set->add_option("value", options->text, "Its new value")->required();
    add(*config, "unset", "Put one back to its default", options, chosen,
        [](const ConfigOptions& given) { return configUnsetCommand(given.home, given.key); })
        ->add_option("setting", options->key, "Its name, like sessions.max")
        ->required();
    CLI::App* reference = config->add_subcommand("reference", "Print the settings' reference, in Markdown");
    reference->callback([&chosen] { chosen = printReference; });
}

}  // namespace quernlight::host
