#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace quernlight::host {

/// The administrator token that the file holds, without white space around it. Throws UserError when the file
/// cannot be read, is no regular one, holds anything but one line, or may be read by other users: a secret is
/// for its owner only. Never waits.
std::string readToken(const std::filesystem::path& file);

/// Why a text, without white space around it, cannot be a token, as the end of a sentence: "is empty",
/// "holds more than one line"; nothing when it can.
std::optional<std::string> tokenTrouble(std::string_view token);

}  // namespace quernlight::host
