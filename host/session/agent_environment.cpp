#include "host/session/agent_environment.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>

namespace quernlight::host {
namespace {

constexpr std::array<std::string_view, 17> allowedNames{"PATH",
                                                        "HOME",
                                                        "USER",
                                                        "LOGNAME",
                                                        "SHELL",
                                                        "LANG",
                                                        "LANGUAGE",
                                                        "TZ",
                                                        "TMPDIR",
                                                        "CODEX_HOME",
                                                        "COLORTERM",
                                                        "XDG_RUNTIME_DIR",
                                                        "SSH_AUTH_SOCK",
                                                        "XDG_CONFIG_HOME",
                                                        "XDG_CACHE_HOME",
                                                        "XDG_DATA_HOME",
                                                        "GIT_CONFIG_NOSYSTEM"};

bool isAllowed(std::string_view name) {
    return name.starts_with("LC_") ||
           std::find(allowedNames.begin(), allowedNames.end(), name) != allowedNames.end();
}

}  // namespace

EnvironmentMap agentEnvironment(const EnvironmentMap& inherited,
                                const std::vector<std::string>& alsoAllowed) {
    EnvironmentMap allowed;
    for (const auto& [name, value] : inherited) {
        const bool named = std::find(alsoAllowed.begin(), alsoAllowed.end(), name) != alsoAllowed.end();
        if (named || isAllowed(name)) {
            allowed.emplace(name, value);
        }
    }
    allowed["TERM"] = "xterm-256color";
    return allowed;
}

std::optional<std::filesystem::path> findOnPath(const std::string& program,
                                                const EnvironmentMap& environment) {
    const auto path = environment.find("PATH");
    if (path == environment.end()) {
        return std::nullopt;
    }
    std::istringstream directories(path->second);
    for (std::string directory; std::getline(directories, directory, ':');) {
        const auto candidate = std::filesystem::path(directory.empty() ? "." : directory) / program;
        std::error_code ignored;
        if (std::filesystem::is_regular_file(candidate, ignored) && access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
    }
    return std::nullopt;
}

}  // namespace quernlight::host
