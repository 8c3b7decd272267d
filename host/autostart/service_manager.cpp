#include "host/autostart/service_manager.hpp"

#include <charconv>
#include <map>
#include <sstream>

#include <unistd.h>

#include "host/agent/agent_environment.hpp"
#include "host/process/clock.hpp"
#include "host/process/time_limit.hpp"
#include "host/process/user_error.hpp"
#include "host/text/shell_text.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/child_process.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

using Words = std::vector<std::string>;

Words systemctl(Words words) {
    words.insert(words.begin(), {"systemctl", "--user"});
    return words;
}

/// Where launchd has a user's agents while that user is logged in.
std::string domainOf(uid_t user) {
    return "gui/" + std::to_string(user);
}

std::string launchdTarget(uid_t user) {
    return domainOf(user) + "/" + serviceName(ServiceSystem::launchd);
}

/// "Name=value", or "name = value", by name.
std::map<std::string, std::string> values(const std::string& output) {
    std::map<std::string, std::string> values;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t sign = line.find('=');
        if (sign != line.npos) {
            values.emplace(trimmed(std::string_view(line).substr(0, sign)),
                           trimmed(std::string_view(line).substr(sign + 1)));
        }
    }
    return values;
}

std::optional<pid_t> processIn(const std::string& text) {
    pid_t process = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), process);
    return error == std::errc() && process > 0 ? std::optional(process) : std::nullopt;
}

std::optional<std::string> endIn(const std::string& result, const std::string& status) {
    if (result.empty() || result == "success") {
        return std::nullopt;
    }
    return result == "exit-code" ? "exit status " + status : result;
}

ServiceState systemdState(const std::string& output) {
    auto told = values(output);
    const std::string& active = told["ActiveState"];
    const bool isRunning = active == "active" || active == "reloading" || active == "deactivating";
    return {.isEnabled = told["UnitFileState"] == "enabled",
            .isRunning = isRunning,
            .process = isRunning ? processIn(told["MainPID"]) : std::nullopt,
            .lastEnd = isRunning ? std::nullopt : endIn(told["Result"], told["ExecMainStatus"])};
}

/// What is loaded is started at login.
ServiceState launchdState(int exitCode, const std::string& output) {
    auto told = values(output);
    const bool isRunning = told["state"] == "running";
    const std::string status = told["last exit code"];
    const bool hasFailed = !isRunning && processIn(status).has_value();
    return {.isEnabled = exitCode == 0,
            .isRunning = isRunning,
            .process = isRunning ? processIn(told["pid"]) : std::nullopt,
            .lastEnd = hasFailed ? std::optional("exit status " + status) : std::nullopt};
}

std::string firstLine(const std::string& output) {
    return withoutControls(output.substr(0, output.find('\n')));
}

ChildProcessRequest requestOf(const Words& words, const EnvironmentMap& environment) {
    const auto program = findOnPath(words.front(), environment);
    if (!program) {
        throw UserError("there is no program " + words.front() + " on PATH");
    }
    ChildProcessRequest request{.executable = *program,
                                .arguments = {words.begin() + 1, words.end()},
                                .environment = {},
                                .workingDirectory = "/"};
    for (const auto& [name, value] : environment) {
        request.environment.push_back(name + "=" + value);
    }
    return request;
}

/// Longer than the service may take to stop.
constexpr std::chrono::seconds longest = 2 * serviceStopTimeout;

Task<ChildProcessResult> run(Words words, EnvironmentMap environment) {
    SystemClock clock;
    ChildProcessRequest request = requestOf(words, environment);
    co_return co_await withTimeLimit(clock, longest, runChildProcess(std::move(request)));
}

}  // namespace

ManagerCommands startCommands(ServiceSystem system, const std::filesystem::path& file, uid_t user) {
    if (system == ServiceSystem::launchd) {
        return {{{"launchctl", "bootout", launchdTarget(user)}, true},
                {{"launchctl", "bootstrap", domainOf(user), file.string()}}};
    }
    const std::string name = serviceName(system);
    return {{systemctl({"daemon-reload"})}, {systemctl({"enable", name})}, {systemctl({"restart", name})}};
}

ManagerCommands stopCommands(ServiceSystem system, uid_t user) {
    if (system == ServiceSystem::launchd) {
        return {{{"launchctl", "bootout", launchdTarget(user)}, true}};
    }
    return {{systemctl({"disable", "--now", serviceName(system)})}};
}

ManagerCommands forgetCommands(ServiceSystem system) {
    return system == ServiceSystem::launchd ? ManagerCommands()
                                            : ManagerCommands{{systemctl({"daemon-reload"})}};
}

ManagerCommand stateCommand(ServiceSystem system, uid_t user) {
    if (system == ServiceSystem::launchd) {
        return {{"launchctl", "print", launchdTarget(user)}};
    }
    return {systemctl(
        {"show", serviceName(system), "--property=UnitFileState,ActiveState,MainPID,Result,ExecMainStatus"})};
}

std::string shellLine(const ManagerCommands& commands) {
    std::string line;
    bool lastMayFail = false;
    for (const ManagerCommand& command : commands) {
        line += line.empty() ? "" : lastMayFail ? "; " : " && ";
        for (const std::string& word : command.words) {
            line += (&word == &command.words.front() ? "" : " ") + shellQuoted(word);
        }
        lastMayFail = command.mayFail;
    }
    return line;
}

ServiceState stateIn(ServiceSystem system, int exitCode, const std::string& output) {
    if (system == ServiceSystem::launchd) {
        return launchdState(exitCode, output);
    }
    return exitCode == 0 ? systemdState(output) : ServiceState{.noManager = firstLine(output)};
}

Task<ServiceState> askState(ServiceSystem system, EnvironmentMap environment) {
    Words words = stateCommand(system, getuid()).words;
    if (!findOnPath(words.front(), environment)) {
        co_return ServiceState{.noManager = "there is no program " + words.front() + " on PATH"};
    }
    const ChildProcessResult result = co_await run(std::move(words), std::move(environment));
    co_return stateIn(system, result.exitCode, result.output);
}

Task<void> tellManager(ManagerCommands commands, EnvironmentMap environment) {
    for (const ManagerCommand& command : commands) {
        const ChildProcessResult result = co_await run(command.words, environment);
        if (result.exitCode != 0 && !command.mayFail) {
            throw UserError("\"" + shellLine({command}) + "\" failed: " + firstLine(result.output));
        }
    }
}

}  // namespace quernlight::host
