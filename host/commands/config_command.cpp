#include "host/commands/config_command.hpp"

#include <iomanip>
#include <iostream>
#include <sstream>

#include "host/process/dispatch_home.hpp"
#include "host/process/event_loop.hpp"
#include "host/settings/setting_descriptions.hpp"
#include "host/settings/settings_store.hpp"
#include "host/store/dispatch_store.hpp"

namespace quernlight::host {
namespace {

std::string withUnit(const Settings& settings, const SettingDescription& description) {
    const std::string text = settingText(settings, description);
    if (text.empty()) {
        return "(none)";
    }
    return description.unit.empty() ? text : text + " " + std::string(description.unit);
}

void tell(const StoredSettings& stored, const SettingDescription& description) {
    const bool isSet = stored.set.contains(std::string(description.key));
    std::cout << std::left << std::setw(34) << description.key << withUnit(stored.settings, description)
              << (isSet ? "" : "  (default)") << "\n    " << description.help << "\n";
}

Task<void> list(std::filesystem::path home) {
    const DispatchStore store = co_await DispatchStore::openForReading(std::move(home));
    const SettingsStore settings(store.database);
    const StoredSettings stored = co_await settings.read();
    for (const SettingDescription& description : settingDescriptions()) {
        tell(stored, description);
    }
    for (const std::string& trouble : stored.troubles) {
        std::cout << "Stored, but not heeded: " << trouble << "\n";
    }
}

Task<void> get(std::filesystem::path home, std::string key) {
    const SettingDescription& description = settingDescription(key);
    const DispatchStore store = co_await DispatchStore::openForReading(std::move(home));
    const SettingsStore settings(store.database);
    const StoredSettings stored = co_await settings.read();
    std::cout << settingText(stored.settings, description) << std::endl;
}

Task<void> tellNow(SettingsStore settings, std::string key) {
    const SettingDescription& description = settingDescription(key);
    const StoredSettings stored = co_await settings.read();
    std::cout << key << " is now " << withUnit(stored.settings, description) << "; that takes effect "
              << describe(description.takesEffect) << "." << std::endl;
}

Task<void> set(std::filesystem::path home, std::string key, std::string text) {
    const DispatchStore store = co_await DispatchStore::openBesideOwner(std::move(home));
    const SettingsStore settings(store.database);
    co_await settings.set(key, std::move(text));
    co_await tellNow(settings, std::move(key));
}

Task<void> unset(std::filesystem::path home, std::string key) {
    const DispatchStore store = co_await DispatchStore::openBesideOwner(std::move(home));
    const SettingsStore settings(store.database);
    co_await settings.unset(key);
    co_await tellNow(settings, std::move(key));
}

int statusOf(Task<void> work) {
    boost::asio::io_context io;
    return runUnlessInterrupted(io, std::move(work)) ? 130 : 0;
}

}  // namespace

int configListCommand(const ChosenHome& home) {
    return statusOf(list(findDispatchHome(home)));
}

int configGetCommand(const ChosenHome& home, const std::string& key) {
    return statusOf(get(findDispatchHome(home), key));
}

int configSetCommand(const ChosenHome& home, const std::string& key, const std::string& text) {
    return statusOf(set(openDispatchHome(home), key, text));
}

int configUnsetCommand(const ChosenHome& home, const std::string& key) {
    return statusOf(unset(openDispatchHome(home), key));
}

std::string settingsReference() {
    std::ostringstream text;
    text << "# Settings\n\n"
            "Read and changed with `quernlight-dispatch config list|get|set|unset`, also while a dispatcher "
            "runs.\nThis page is what `quernlight-dispatch config reference` prints.\n\n"
            "| setting | default | what it is | allowed | takes effect |\n|---|---|---|---|---|\n";
    for (const SettingDescription& description : settingDescriptions()) {
        text << "| `" << description.key << "` | " << withUnit(Settings{}, description) << " | "
             << description.help << " | " << describeAllowed(description) << " | "
             << describe(description.takesEffect) << " |\n";
    }
    return text.str();
}

}  // namespace quernlight::host
