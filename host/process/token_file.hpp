#pragma once

#include <filesystem>
#include <string>

namespace quernlight::host {

/// The administrator token that the file holds, without white space around it. Throws UserError when the file
/// cannot be read, is no regular one, holds anything but one line, or may be read by other users: a secret is
/// for its owner only. Never waits.
std::string readToken(const std::filesystem::path& file);

}  // namespace quernlight::host
