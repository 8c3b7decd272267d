#pragma once

#include "host/autostart/user_service.hpp"

namespace quernlight::host {

/// The text of a unit for systemd's user manager (systemd.service(5)). Its texts are one line each; throws
/// UserError for a program that systemd cannot start.
std::string systemdUnit(const UserService& service);

std::optional<std::filesystem::path> logFileInUnit(const std::string& text);

}  // namespace quernlight::host
