#include "host/autostart/user_service.hpp"

#include <algorithm>

#include "host/agent/stop_escalation.hpp"
#include "host/autostart/launchd_agent.hpp"
#include "host/autostart/systemd_unit.hpp"
#include "host/process/user_error.hpp"
#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

// The agents' stop, and as much again for git, notifications and what is stored then.
static_assert(serviceStopTimeout >= 2 * escalationTimeAtShutdown);

/// A line end or the like would make another line of such a file, and other text no line at all.
void requireText(const std::string& text) {
    if (!isValidUtf8(text) || std::ranges::any_of(unicodeScalars(text), isActingCharacter)) {
        throw UserError("A service's file cannot hold \"" + escapedLine(text, 200) +
                        "\", which is not one line of UTF-8 text; choose another name.");
    }
}

void requireTexts(const UserService& service) {
    for (const std::string& word : commandOf(service)) {
        requireText(word);
    }
    for (const auto& [name, value] : service.environment) {
        requireText(name + "=" + value);
    }
    requireText(service.logFile.string());
}

std::filesystem::path configDirectory(const EnvironmentMap& environment) {
    const auto found = environment.find("XDG_CONFIG_HOME");
    const bool isGiven = found != environment.end() && std::filesystem::path(found->second).is_absolute();
    return isGiven ? std::filesystem::path(found->second) : userHomeDirectory(environment) / ".config";
}

}  // namespace

ServiceSystem serviceSystem() {
#ifdef __APPLE__
    return ServiceSystem::launchd;
#else
    return ServiceSystem::systemd;
#endif
}

std::vector<std::string> commandOf(const UserService& service) {
    std::vector<std::string> words{service.program, "run", "--home", service.home};
    if (service.tokenFile) {
        words.insert(words.end(), {"--token-file", *service.tokenFile});
    }
    words.insert(words.end(), service.options.begin(), service.options.end());
    return words;
}

/// Not those of proxies, say: their values may hold passwords.
EnvironmentMap serviceEnvironment(const EnvironmentMap& environment) {
    EnvironmentMap needed;
    for (const char* name : {"PATH", "CODEX_HOME"}) {
        const auto found = environment.find(name);
        if (found != environment.end() && !found->second.empty()) {
            needed.insert(*found);
        }
    }
    return needed;
}

std::string serviceFileText(ServiceSystem system, const UserService& service) {
    requireTexts(service);
    return system == ServiceSystem::systemd ? systemdUnit(service) : launchdAgent(service);
}

std::optional<std::filesystem::path> logFileIn(ServiceSystem system, const std::string& text) {
    return system == ServiceSystem::systemd ? logFileInUnit(text) : logFileInAgent(text);
}

bool isOurs(const std::string& text) {
    return text.find(serviceFileMark) != std::string::npos;
}

std::string serviceName(ServiceSystem system) {
    return system == ServiceSystem::systemd ? "quernlight-dispatch.service" : "quernlight-dispatch";
}

std::filesystem::path serviceFilePlace(ServiceSystem system, const EnvironmentMap& environment) {
    if (system == ServiceSystem::launchd) {
        return userHomeDirectory(environment) / "Library/LaunchAgents/quernlight-dispatch.plist";
    }
    return configDirectory(environment) / "systemd/user" / serviceName(system);
}

}  // namespace quernlight::host
