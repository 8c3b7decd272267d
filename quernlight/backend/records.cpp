#include "quernlight/backend/records.hpp"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "quernlight/backend/device_model_names.hpp"
#include "quernlight/platform/identifiers.hpp"

namespace quernlight {

std::optional<std::string> QLBugSummaryDTO::displayDeviceModel() const {
    return DeviceModelNames::displayName(deviceModel, deviceName);
}

std::optional<std::string> QLBugDetailDTO::displayDeviceModel() const {
    return DeviceModelNames::displayName(deviceModel, deviceName);
}

std::vector<QLBugSummaryDTO> mergedBugs(std::vector<std::vector<QLBugSummaryDTO>> lists) {
    std::multimap<Instant, QLBugSummaryDTO, std::greater<>> newestFirst;  // keeps the order of equal keys
    std::set<std::string> seen;
    for (auto& list : lists) {
        for (QLBugSummaryDTO& bug : list) {
            if (seen.insert(BugID::normalized(bug.id)).second) {
                newestFirst.emplace(bug.createdAt, std::move(bug));
            }
        }
    }
    std::vector<QLBugSummaryDTO> merged;
    merged.reserve(newestFirst.size());
    for (auto& [createdAt, bug] : newestFirst) {
        merged.push_back(std::move(bug));
    }
    return merged;
}

}  // namespace quernlight
