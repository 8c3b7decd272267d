#pragma once

#include <stdexcept>
#include <string>

namespace quernlight {

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
