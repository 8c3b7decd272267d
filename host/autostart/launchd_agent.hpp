#pragma once

#include "host/autostart/user_service.hpp"

namespace quernlight::host {

/// The text of a property list for launchd (launchd.plist(5)). Its texts are one line each.
std::string launchdAgent(const UserService& service);

std::optional<std::filesystem::path> logFileInAgent(const std::string& text);

}  // namespace quernlight::host
