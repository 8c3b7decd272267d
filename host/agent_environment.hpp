#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// The agent's complete environment: of the caller's variables only those a terminal program needs to find
/// its files, its tools and its own settings. Nothing that might carry a secret of the dispatcher passes.
EnvironmentMap agentEnvironment(const EnvironmentMap& inherited);

/// The file that `PATH` finds for a program's name, or nothing.
std::optional<std::filesystem::path> findOnPath(const std::string& program,
                                                const EnvironmentMap& environment);

}  // namespace quernlight::host
