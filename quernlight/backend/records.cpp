#include "quernlight/backend/records.hpp"

#include "quernlight/backend/device_model_names.hpp"

namespace quernlight {

std::optional<std::string> QLBugSummaryDTO::displayDeviceModel() const {
    return DeviceModelNames::displayName(deviceModel, deviceName);
}

std::optional<std::string> QLBugDetailDTO::displayDeviceModel() const {
    return DeviceModelNames::displayName(deviceModel, deviceName);
}

}  // namespace quernlight
