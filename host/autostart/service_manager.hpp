#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "host/autostart/user_service.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// One command for the system's service manager.
struct ManagerCommand {
    std::vector<std::string> words{};
    bool mayFail = false;  ///< then it had nothing to do

    bool operator==(const ManagerCommand&) const = default;
};

using ManagerCommands = std::vector<ManagerCommand>;

/// What starts the service of that file now and at every login. `user` is whose service it is.
ManagerCommands startCommands(ServiceSystem system, const std::filesystem::path& file, uid_t user);

/// What stops it, and keeps it from being started again; its file is removed between the two.
ManagerCommands stopCommands(ServiceSystem system, uid_t user);
ManagerCommands forgetCommands(ServiceSystem system);

ManagerCommand stateCommand(ServiceSystem system, uid_t user);

/// The commands as a person types them, one line.
std::string shellLine(const ManagerCommands& commands);

/// What the manager says of the service.
struct ServiceState {
    std::optional<std::string> noManager{};  ///< why there is none to be asked; the rest is not known then
    bool isEnabled = false;                  ///< started at login
    bool isRunning = false;
    std::optional<pid_t> process{};
    std::optional<std::string> lastEnd{};  ///< "exit status 1"; absent while it runs, and where it ended well

    bool operator==(const ServiceState&) const = default;
};

/// The meaning of what `stateCommand` printed.
ServiceState stateIn(ServiceSystem system, int exitCode, const std::string& output);

/// Asks the manager. Throws what starting a program throws, and TimeLimitExceeded.
Task<ServiceState> askState(ServiceSystem system, EnvironmentMap environment);

/// Runs the commands, one after another, until one that may not fails. Throws UserError with what it said.
Task<void> tellManager(ManagerCommands commands, EnvironmentMap environment);

}  // namespace quernlight::host
