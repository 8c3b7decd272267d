#include "host/settings/live_settings.hpp"

#include "host/settings/setting_descriptions.hpp"

namespace quernlight::host {
namespace {

void apply(Settings& settings, const SettingOverrides& overrides) {
    for (const auto& [key, text] : overrides) {
        assignSetting(settings, settingDescription(key), text);
    }
}

std::vector<std::string> changes(const Settings& before, const Settings& after) {
    std::vector<std::string> sentences;
    for (const SettingDescription& description : settingDescriptions()) {
        const std::string text = settingText(after, description);
        if (text != settingText(before, description)) {
            sentences.push_back("Setting " + std::string(description.key) + " is now " + text +
                                "; that takes effect " + std::string(describe(description.takesEffect)) +
                                ".");
        }
    }
    return sentences;
}

}  // namespace

void checkOverrides(const SettingOverrides& overrides) {
    Settings settings;
    apply(settings, overrides);
}

LiveSettings::LiveSettings(SettingsStore store, SettingOverrides overrides)
    : store_(std::move(store)), overrides_(std::move(overrides)) {
    apply(now_, overrides_);
}

Task<SettingsRefresh> LiveSettings::refresh() {
    StoredSettings stored = co_await store_.read();
    apply(stored.settings, overrides_);
    SettingsRefresh refreshed;
    if (!isFirst_) {
        refreshed.changes = changes(now_, stored.settings);
    }
    for (const std::string& trouble : stored.troubles) {
        refreshed.troubles.push_back("A stored setting is not heeded: " + trouble);
    }
    isFirst_ = false;
    now_ = std::move(stored.settings);
    co_return refreshed;
}

}  // namespace quernlight::host
