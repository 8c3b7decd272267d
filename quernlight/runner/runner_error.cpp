#include "quernlight/runner/runner_error.hpp"

namespace quernlight {

RunnerError::RunnerError(const Uuid& sessionID)
    : std::runtime_error("No active runner session for " + upperCaseText(sessionID) + "."),
      sessionID_(sessionID) {}

RunnerError RunnerError::missingSession(const Uuid& sessionID) {
    return RunnerError(sessionID);
}

PTYProcessError::PTYProcessError(Case kind, const std::string& description)
    : std::runtime_error(description), kind_(kind) {}

PTYProcessError PTYProcessError::openPTYFailed(const std::string& message) {
    return {Case::openPTYFailed, "Unable to allocate PTY: " + message};
}

PTYProcessError PTYProcessError::processLaunchFailed(const std::string& message) {
    return {Case::processLaunchFailed, "Unable to launch Codex: " + message};
}

PTYProcessError PTYProcessError::emptyLaunchCommand() {
    return {Case::emptyLaunchCommand, "Codex launch command is empty."};
}

PTYProcessError PTYProcessError::sessionNotRunning() {
    return {Case::sessionNotRunning, "Session is not running."};
}

}  // namespace quernlight
