#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace quernlight {

// The functions below may be called from any thread, as long as none changes the environment meanwhile.

/// Environment variables by name.
using EnvironmentMap = std::map<std::string, std::string>;

/// The calling process's environment.
EnvironmentMap currentEnvironmentMap();

/// The current user's home directory: "HOME" when it is set and not empty, otherwise the user database's
/// entry.
std::filesystem::path userHomeDirectory(const EnvironmentMap& environment);

/// Where an application keeps its data for this user: Application Support on macOS; "XDG_DATA_HOME" when it
/// is an absolute path, otherwise ~/.local/share, on Linux (XDG Base Directory Specification). Not created
/// here.
std::filesystem::path userApplicationDataDirectory(const EnvironmentMap& environment);

/// An absolute path for `path` as a file URL would standardise it: a leading "~" or "~/" becomes the user's
/// home, a relative path is taken from the current directory, then ".", ".." and repeated separators are
/// resolved by text alone and no separator is left at the end (but for "/"). Symbolic links are not followed.
/// Throws std::filesystem::filesystem_error for a relative path when the current directory is gone.
std::string standardizedPath(const std::string& path);

}  // namespace quernlight
