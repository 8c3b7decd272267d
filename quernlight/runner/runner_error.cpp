#include "quernlight/runner/runner_error.hpp"

namespace quernlight {

RunnerError::RunnerError(const Uuid& sessionID)
    : std::runtime_error("No active runner session for " + upperCaseText(sessionID) + "."),
      sessionID_(sessionID) {}

RunnerError RunnerError::missingSession(const Uuid& sessionID) {
    return RunnerError(sessionID);
}

}  // namespace quernlight
