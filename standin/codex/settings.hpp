#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "standin/codex/behaviour.hpp"

namespace quernlight::standin::codex {

/// Where the stand-in backend is and how to enter it: the stand-ins' own arrangement, in a file that the
/// dispatcher does not know of.
struct BackendAccess {
    std::string url;
    std::string token;
    std::map<std::string, Behaviour> behaviours;  ///< by short bug id; they win over STANDIN_CODEX
};

/// What this run of the agent was given.
struct Settings {
    std::filesystem::path home;               ///< CODEX_HOME, or ~/.codex
    Behaviour behaviour{};                    ///< STANDIN_CODEX
    std::chrono::milliseconds stepDelay{75};  ///< STANDIN_CODEX_DELAY_MS: between two start-up lines
    std::vector<std::string> toolServer{};    ///< from the command line
};

/// Reads the environment. Throws std::runtime_error with a sentence for a value that means nothing.
Settings settingsFromEnvironment();

/// Reads standin.json in the agent's home. Throws std::runtime_error when it is missing or malformed.
BackendAccess readBackendAccess(const std::filesystem::path& home);

}  // namespace quernlight::standin::codex
