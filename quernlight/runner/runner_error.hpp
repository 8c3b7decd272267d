#pragma once

#include <stdexcept>
#include <string>

#include "quernlight/platform/identifiers.hpp"

namespace quernlight {

/// Thrown by a runner when it has no live session of the given id.
class RunnerError : public std::runtime_error {
  public:
    enum class Case { missingSession };

    static RunnerError missingSession(const Uuid& sessionID);

    Case kind() const { return Case::missingSession; }
    const Uuid& sessionID() const { return sessionID_; }

  private:
    explicit RunnerError(const Uuid& sessionID);

    Uuid sessionID_;
};

/// Thrown when a child cannot be launched in a pseudo-terminal, or is gone; `what` is one sentence for
/// people. Messages passed in are the system's text for the failing call's error number.
class PTYProcessError : public std::runtime_error {
  public:
    enum class Case { openPTYFailed, processLaunchFailed, emptyLaunchCommand, sessionNotRunning };

    static PTYProcessError openPTYFailed(const std::string& message);
    static PTYProcessError processLaunchFailed(const std::string& message);
    static PTYProcessError emptyLaunchCommand();
    static PTYProcessError sessionNotRunning();

    Case kind() const { return kind_; }

  private:
    PTYProcessError(Case kind, const std::string& description);

    Case kind_;
};

}  // namespace quernlight
