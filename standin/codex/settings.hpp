#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "standin/codex/behaviour.hpp"
#include "standin/codex/command_line.hpp"

namespace quernlight::standin::codex {

/// Where the stand-in backend is and how to enter it: the stand-ins' own arrangement, in a file that the
/// dispatcher does not know of.
struct BackendAccess {
    std::string url;
    std::string token;
    std::map<std::string, Conducts> behaviours;  ///< by short bug id, or "*" for all; they win over
                                                 ///< STANDIN_CODEX
};

/// What this run of the agent was given.
struct Settings {
    std::filesystem::path home;               ///< CODEX_HOME, or ~/.codex
    Conducts conducts{};                      ///< STANDIN_CODEX
    std::chrono::milliseconds stepDelay{75};  ///< STANDIN_CODEX_DELAY_MS: between two start-up lines
    CommandLine commandLine{};
    std::size_t session = 0;  ///< how many sessions have begun on the same bug before
};

/// Reads the environment. Throws std::runtime_error with a sentence for a value that means nothing.
Settings settingsFromEnvironment();

/// Reads standin.json in the agent's home. Throws std::runtime_error when it is missing or malformed.
BackendAccess readBackendAccess(const std::filesystem::path& home);

/// How this session conducts itself on a bug.
Conduct conductOn(const std::string& bugID, const Settings& settings, const BackendAccess& access);

/// How it does before it has a goal, from the bug that its directory is named for. What has no standin.json
/// goes by STANDIN_CODEX.
Conduct conductAtStart(const std::string& bugID, const Settings& settings);

}  // namespace quernlight::standin::codex
