#include "quernlight/runner/pty_process_error.hpp"

namespace quernlight {

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
