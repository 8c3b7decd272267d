#include "host/agent/live_screens.hpp"

#include <utility>

namespace quernlight::host {

LiveScreens::Entry LiveScreens::enter(const std::string& bugID, Look look) {
    std::erase_if(looks_, [](const auto& entered) { return entered.second.expired(); });
    auto entry = std::make_shared<const Look>(std::move(look));
    looks_[bugID] = entry;
    return entry;
}

std::optional<LiveAgent> LiveScreens::look(const std::string& bugID) const {
    const auto found = looks_.find(bugID);
    const Entry entry = found == looks_.end() ? nullptr : found->second.lock();
    return entry ? std::optional((*entry)()) : std::nullopt;
}

}  // namespace quernlight::host
