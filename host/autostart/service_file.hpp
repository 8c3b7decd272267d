#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "host/autostart/user_service.hpp"

namespace quernlight::host {

/// The service's file as it is; absent when there is none. Throws UserError when it cannot be read.
std::optional<std::string> readServiceFile(const std::filesystem::path& file);

/// Refuses, with a UserError, a file that somebody else made.
void requireOurs(const std::filesystem::path& file);

/// Writes it at once and whole, with missing directories. Throws UserError, also for a file that somebody
/// else made.
void writeServiceFile(const std::filesystem::path& file, const std::string& text);

/// Removes it, and what systemd keeps to start it at login. Throws UserError, also for a file that somebody
/// else made.
void removeServiceFile(const std::filesystem::path& file);

}  // namespace quernlight::host
