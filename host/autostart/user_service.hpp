#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// Who starts a user's programs at login.
enum class ServiceSystem { systemd, launchd };

/// That of the system that this runs on.
ServiceSystem serviceSystem();

/// What the file of a user service says; a pure function makes its text for either system. It never holds a
/// token, only the name of the file of one.
struct UserService {
    std::filesystem::path program{};
    std::filesystem::path home{};
    std::optional<std::filesystem::path> tokenFile{};
    std::vector<std::string> options{};  ///< of `run`, besides
    EnvironmentMap environment{};        ///< what the program gets besides what all the user's services get
    std::filesystem::path logFile{};     ///< to whose end all is written that it prints
};

/// The command that the service runs, its program first.
std::vector<std::string> commandOf(const UserService& service);

/// What of the installing person's environment the service needs to find agents and their own home.
EnvironmentMap serviceEnvironment(const EnvironmentMap& environment);

/// The file's text. Throws UserError where a path or a variable cannot be written into such a file.
std::string serviceFileText(ServiceSystem system, const UserService& service);

/// The log that such a text names; absent where it names none.
std::optional<std::filesystem::path> logFileIn(ServiceSystem system, const std::string& text);

/// Whether such a text was made by this program, so that it may be replaced and removed.
bool isOurs(const std::string& text);

/// The name that the system knows it by.
std::string serviceName(ServiceSystem system);

/// Where its file belongs for the user whose environment this is.
std::filesystem::path serviceFilePlace(ServiceSystem system, const EnvironmentMap& environment);

/// Its log's name in the home. The owner keeps it from growing without end (BoundedLog).
inline constexpr const char* serviceLogName = "service.log";

inline constexpr std::string_view serviceFileMark =
    "Written by \"quernlight-dispatch service install\"; \"service uninstall\" removes it.";

/// How long the program gets to stop its agents politely, and what git and notifications do then: about twice
/// what all of it may take together.
inline constexpr std::chrono::seconds serviceStopTimeout{60};

/// Between a crash and the next start.
inline constexpr std::chrono::seconds serviceRestartPause{30};

}  // namespace quernlight::host
