#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <variant>

#include "host/agent/instruction_files.hpp"
#include "host/health/outside_failure.hpp"
#include "host/health/start_pauses.hpp"
#include "host/process/clock.hpp"
#include "host/process/stop_request.hpp"
#include "host/session/session_log.hpp"
#include "host/session/session_outside.hpp"
#include "host/settings/settings.hpp"
#include "host/worktree/repository_locks.hpp"

namespace quernlight::host {

/// All that an agent needs is there: attempt, worktree, goal.
struct SessionReady {
    std::string goal;
};

/// The bug's worktree cannot be used, for the reason given.
struct WorktreeRefused {
    std::string reason;
};

/// The program is ending, or its home is away, and nothing has begun.
struct NothingBegun {};

using PreparationResult = std::variant<SessionReady, OutsideFailure, WorktreeRefused, NothingBegun>;

/// What comes before the agent: takes the attempt's number and directory, has the worktree made, writes the
/// goal. Records nothing of the attempt but that the worktree is ready.
class SessionPreparation {
  public:
    struct Uses {
        std::filesystem::path home;
        DispatchStore store;
        RepositoryLocks& repositories;
        StartPauses& startPauses;
        StopRequest& stop;
        Clock& clock;
        const InstructionFiles& instructions;
        const EnvironmentMap& environment;
        const Settings& settings;
        const std::function<bool()>& homeIsInPlace;
        const SessionOutside& outside;
    };

    SessionPreparation(Uses uses, SessionState& state, SessionLog& log)
        : uses_(std::move(uses)), state_(state), log_(log) {}

    /// Throws DatabaseError, filesystem_error.
    Task<PreparationResult> run();

  private:
    Task<void> openAttempt();
    SessionAttemptRecord newAttempt(std::int64_t number) const;
    Task<PreparationResult> prepareWorktree();
    Task<PreparationResult> prepareWith(GitRunner run, GitRunner ask);
    Task<WorktreeUse> useOfWorktree(GitRunner ask);
    PreparationResult judge(const WorktreeFailed& failed, const GitTrouble& trouble) const;
    PrepareBugRequest worktreeRequest() const;
    Task<PreparationResult> writeGoal();
    Task<std::optional<Url>> pullRequestURL();

    const Uses uses_;
    SessionState& state_;
    SessionLog& log_;
};

}  // namespace quernlight::host
