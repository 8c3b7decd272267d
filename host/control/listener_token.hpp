#pragma once

#include <filesystem>
#include <string>

namespace quernlight::host {

/// Where a home's token for the listener is kept: "listen.token" in it.
std::filesystem::path listenerTokenFile(const std::filesystem::path& home);

/// The token that whoever asks on the listener must know. Made once, and kept in its file (0600). The home's
/// lock must be held. Throws UserError for a file that is not this user's alone, is no regular one or holds
/// something else, and when it cannot be written.
std::string listenerToken(const std::filesystem::path& home);

}  // namespace quernlight::host
