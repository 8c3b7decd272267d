#include "host/service/configuration_operations.hpp"

namespace quernlight::host {
namespace {

SettingValue valueOf(const StoredSettings& stored, const SettingDescription& description) {
    const std::string key(description.key);
    return {.key = key,
            .text = settingText(stored.settings, description),
            .isSet = stored.set.contains(key),
            .unit = std::string(description.unit),
            .help = std::string(description.help),
            .allowed = describeAllowed(description),
            .takesEffect = description.takesEffect};
}

}  // namespace

SettingValue settingValue(const StoredSettings& stored, const std::string& key) {
    return valueOf(stored, settingDescription(key));
}

SettingList settingList(const StoredSettings& stored) {
    SettingList list{.troubles = stored.troubles};
    for (const SettingDescription& description : settingDescriptions()) {
        list.values.push_back(valueOf(stored, description));
    }
    return list;
}

}  // namespace quernlight::host
