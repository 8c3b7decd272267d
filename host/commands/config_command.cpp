#include <iomanip>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>
#include <boost/json/value.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/command_output.hpp"
#include "host/commands/config_edit.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/process/dispatch_home.hpp"
#include "host/process/user_error.hpp"
#include "host/service/configuration_json.hpp"
#include "quernlight/platform/control_characters.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

struct ConfigOptions {
    ChosenHome home;
    std::string key;
    std::string text;
    bool json = false;
};

constexpr std::size_t mostShown = 1 << 16;

std::string shown(const SettingValue& value) {
    return escapedLine(shownSetting(value.text, value.unit), mostShown);
}

void tell(const SettingValue& value) {
    std::cout << std::left << std::setw(34) << value.key << shown(value) << (value.isSet ? "" : "  (default)")
              << "\n    " << value.help << "\n";
}

void printJson(const json::value& value) {
    CommandOutput output;
    output.printJson(value);
}

Task<void> list(DispatchService& service, bool asJson) {
    const SettingList settings = co_await service.settings();
    if (asJson) {
        co_return printJson(jsonOf(settings));
    }
    for (const SettingValue& value : settings.values) {
        tell(value);
    }
    for (const std::string& trouble : settings.troubles) {
        std::cout << "Stored, but not heeded: " << escapedLine(trouble, mostShown) << "\n";
    }
}

Task<void> get(DispatchService& service, std::string key, bool asJson) {
    const SettingValue value = co_await service.setting(std::move(key));
    if (asJson) {
        co_return printJson(jsonOf(value));
    }
    std::cout << escapedLine(value.text, mostShown) << std::endl;
}

void tellNow(const SettingValue& value, bool asJson) {
    if (asJson) {
        return printJson(jsonOf(value));
    }
    std::cout << value.key << " is now " << shown(value) << "; that takes effect "
              << describe(value.takesEffect) << "." << std::endl;
}

Task<void> set(DispatchService& service, std::string key, std::string text, bool asJson) {
    const SettingValue value = co_await service.setSetting(std::move(key), std::move(text));
    tellNow(value, asJson);
}

Task<void> unset(DispatchService& service, std::string key, bool asJson) {
    const SettingValue value = co_await service.unsetSetting(std::move(key));
    tellNow(value, asJson);
}

int configList(const ConfigOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(list(*service, given.json));
}

int configGet(const ConfigOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(get(*service, given.key, given.json));
}

int configSet(const ConfigOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(set(*service, given.key, given.text, given.json));
}

int configUnset(const ConfigOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(unset(*service, given.key, given.json));
}

int configEdit(const ConfigOptions& given) {
    const auto service = serviceFor(given.home);
    return editSettings(*service, locateDispatchHome(given.home), given.json);
}

int printReference() {
    std::cout << settingsReference() << std::flush;
    return 0;
}

using Command = int (*)(const ConfigOptions&);

CLI::App* add(CLI::App& config, const char* name, const char* help,
              const std::shared_ptr<ConfigOptions>& options, ChosenCommand& chosen, Command command) {
    CLI::App* app = config.add_subcommand(name, help);
    app->add_flag("--json", options->json, "As JSON: an object");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen, command] { chosen = [options, command] { return command(*options); }; });
    return app;
}

/// Why there is no such setting; empty when there is.
std::string unknownSetting(const std::string& key) {
    try {
        settingDescription(key);
        return "";
    } catch (const UserError& error) {
        return error.what();
    }
}

void addKey(CLI::App& app, ConfigOptions& options) {
    app.add_option("setting", options.key, "Its name, like sessions.max")
        ->required()
        ->check([](const std::string& key) { return unknownSetting(key); });
}

}  // namespace

void addConfigCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<ConfigOptions>();
    CLI::App* config = program.add_subcommand("config", "The settings");
    config->require_subcommand(1);
    add(*config, "list", "List all settings with their values", options, chosen, configList);
    addKey(*add(*config, "get", "Print one setting's value", options, chosen, configGet), *options);
    CLI::App* set = add(*config, "set", "Set one", options, chosen, configSet);
    addKey(*set, *options);
    set->add_option("value", options->text, "Its new value")->required();
    addKey(*add(*config, "unset", "Put one back to its default", options, chosen, configUnset), *options);
    add(*config, "edit", "Change them in your editor, $VISUAL or $EDITOR", options, chosen, configEdit);
    CLI::App* reference = config->add_subcommand("reference", "Print the settings' reference, in Markdown");
    reference->callback([&chosen] { chosen = printReference; });
}

}  // namespace quernlight::host
