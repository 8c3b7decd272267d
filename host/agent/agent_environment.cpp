#include "host/agent/agent_environment.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>

namespace quernlight::host {
namespace {

constexpr std::array<std::string_view, 34> allowedNames{
    "PATH", "HOME", "USER", "LOGNAME", "SHELL", "LANG", "LANGUAGE", "TZ", "TMPDIR", "CODEX_HOME", "COLORTERM",
    "XDG_RUNTIME_DIR", "SSH_AUTH_SOCK", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME",
    "GIT_CONFIG_NOSYSTEM",
    // how the network is reached, and whom it trusts
    "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY", "NO_PROXY", "FTP_PROXY", "http_proxy", "https_proxy",
    "all_proxy", "no_proxy", "ftp_proxy", "SSL_CERT_FILE", "SSL_CERT_DIR", "CODEX_CA_CERTIFICATE",
    "NODE_EXTRA_CA_CERTS", "CURL_CA_BUNDLE", "REQUESTS_CA_BUNDLE", "GIT_SSL_CAINFO"};

bool isAllowed(std::string_view name) {
    return name.starts_with("LC_") ||
           std::find(allowedNames.begin(), allowedNames.end(), name) != allowedNames.end();
}

bool isProgram(const std::filesystem::path& file) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(file, ignored) && access(file.c_str(), X_OK) == 0;
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
        if (isProgram(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

std::optional<std::string> missingAgent(const std::vector<std::string>& command,
                                        const EnvironmentMap& environment) {
    const std::filesystem::path program = command.front();
    if (program.is_absolute() && !isProgram(program)) {
        return "There is no program " + program.string() +
               " that may be run; check the setting agent.command.";
    }
    if (program.has_parent_path() || findOnPath(program, environment)) {
        return std::nullopt;
    }
    return "There is no program \"" + program.string() +
           "\" on PATH; install the agent, or put its directory on PATH.";
}

}  // namespace quernlight::host
