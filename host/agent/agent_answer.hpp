#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "host/process/clock.hpp"
#include "quernlight/platform/child_process.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// What one harmless command of the agent has come to.
struct AgentAnswer {
    bool hasEnded = false;  ///< in time, and it could be started at all
    int exitCode = 0;
    std::string output{};
};

/// The agent's program and arguments, and the environment that agents get.
struct AgentCommand {
    std::vector<std::string> words{};
    EnvironmentMap environment{};

    bool operator==(const AgentCommand&) const = default;
};

/// The command with `more` behind its own words, run in "/".
ChildProcessRequest requestOf(const AgentCommand& command, const std::vector<std::string>& more);

/// Runs it to its end, or for so long. Throws boost::system::system_error only when it is cancelled.
Task<AgentAnswer> answerTo(ChildProcessRequest request, std::chrono::milliseconds timeout);

/// The agent's answer to `words`, which must change nothing. A command with a relative path, which is one of
/// a worktree, is not run, nor one that is not there: they have not ended.
Task<AgentAnswer> askAgent(AgentCommand command, std::vector<std::string> words,
                           std::chrono::milliseconds timeout);

/// The first line of it, safe to show, at most 100 characters.
std::string firstLine(const AgentAnswer& answer);

/// The agent's version by its own words, asked for when it is wanted, and anew after ten minutes or of
/// another command. Used on one executor; whoever waits in `text` ends before this does.
class AgentVersion {
  public:
    explicit AgentVersion(Clock& clock) : clock_(clock) {}

    /// Nothing when it does not tell within two seconds.
    Task<std::optional<std::string>> text(AgentCommand command);

  private:
    Clock& clock_;
    std::optional<AgentCommand> asked_{};
    std::chrono::steady_clock::time_point askedAt_{};
    std::optional<std::string> version_{};
};

}  // namespace quernlight::host
