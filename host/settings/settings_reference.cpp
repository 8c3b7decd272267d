#include <sstream>

#include "host/settings/setting_descriptions.hpp"

namespace quernlight::host {

std::string settingsReference() {
    std::ostringstream text;
    text << "# Settings\n\n"
            "Read and changed with `quernlight-dispatch config list|get|set|unset`, also while a dispatcher "
            "runs.\nThis page is what `quernlight-dispatch config reference` prints.\n\n"
            "| setting | default | what it is | allowed | takes effect |\n|---|---|---|---|---|\n";
    const Settings defaults;
    for (const SettingDescription& description : settingDescriptions()) {
        const std::string value = shownSetting(settingText(defaults, description), description.unit);
        text << "| `" << description.key << "` | " << value << " | " << description.help << " | "
             << describeAllowed(description) << " | " << describe(description.takesEffect) << " |\n";
    }
    return text.str();
}

}  // namespace quernlight::host
