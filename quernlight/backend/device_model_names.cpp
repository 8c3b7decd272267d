#include "quernlight/backend/device_model_names.hpp"

#include <unordered_map>

#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

using NamesByIdentifier = std::unordered_map<std::string_view, std::string_view>;

const NamesByIdentifier& namesByIdentifier() {
    static const NamesByIdentifier names = [] {
        NamesByIdentifier map;
        map.reserve(deviceModelCount);
        for (const DeviceModelRow& row : deviceModelTable())
            map.emplace(row.identifier, row.name);
        return map;
    }();
    return names;
}

std::optional<std::string_view> trimmedUnlessBlank(std::optional<std::string_view> text) {
    if (!text)
        return std::nullopt;
    const std::string_view inner = trimmed(*text);
    if (inner.empty())
        return std::nullopt;
    return inner;
}

}  // namespace

std::optional<std::string_view> DeviceModelNames::name(std::optional<std::string_view> identifier) {
    const auto key = trimmedUnlessBlank(identifier);
    if (!key)
        return std::nullopt;
    const auto found = namesByIdentifier().find(*key);
    if (found == namesByIdentifier().end())
        return std::nullopt;
    return found->second;
}

std::optional<std::string> DeviceModelNames::displayName(std::optional<std::string_view> identifier,
                                                         std::optional<std::string_view> name) {
    const auto hardware = trimmedUnlessBlank(identifier);
    const auto given = trimmedUnlessBlank(name);
    if (!hardware && !given)
        return std::nullopt;
    if (!hardware)
        return std::string(*given);
    // A device that its owner named after the hardware would otherwise read "Mac14,2 (Mac14,2)".
    const std::string_view label = given ? *given : DeviceModelNames::name(hardware).value_or(*hardware);
    if (label == *hardware)
        return std::string(*hardware);
    return std::string(label).append(" (").append(*hardware).append(")");
}

}  // namespace quernlight
