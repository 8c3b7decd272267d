#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// The agent's complete environment: of the caller's variables only those a terminal program needs to find
/// its files, its tools and its own settings, and those that a person has named besides.
EnvironmentMap agentEnvironment(const EnvironmentMap& inherited,
                                const std::vector<std::string>& alsoAllowed = {});

/// The file that `PATH` finds for a program's name, or nothing.
std::optional<std::filesystem::path> findOnPath(const std::string& program,
                                                const EnvironmentMap& environment);

/// That the program with which the agent's command begins is not there or may not be run, in one sentence;
/// nothing when it may. A relative file is the worktree's, so only its start can tell.
std::optional<std::string> missingAgent(const std::vector<std::string>& command,
                                        const EnvironmentMap& environment);

}  // namespace quernlight::host
