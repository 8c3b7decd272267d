#pragma once

#include <chrono>
#include <exception>
#include <optional>
#include <string>
#include <system_error>

#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// How long starts pause: after a first failure, and at most.
struct PauseLengths {
    std::chrono::seconds first{5};
    std::chrono::seconds longest{300};
};

/// For an agent that cannot work: a limit of use takes its time, a model that does not answer (`stopsWork`)
/// may do so soon.
PauseLengths pausesAfterBlockedAgent(bool limitsUse, bool stopsWork);

/// Why a bug could not be started that has nothing to do with the bug: it would meet the next one as well.
struct OutsideFailure {
    std::optional<std::string> repository{};      ///< only its bugs are met; absent: all are
    std::string cause{};                          ///< one line, with the next step where there is one
    std::optional<std::chrono::seconds> lasts{};  ///< if that is known
    std::optional<Instant> until{};               ///< where it is a time of day that is known: then it counts
    bool stopsWork = false;                       ///< of agents that start and take their goals nevertheless
    PauseLengths pauses{};                        ///< where it is not known how long it lasts
};

/// What is known of the git commands that were to prepare a worktree.
struct GitTrouble {
    std::string failedCommand{};    ///< the last one, if it failed: "fetch"; empty when it did not
    std::string output{};           ///< its words
    std::error_code systemError{};  ///< why any of them did not run, or not to its end
};

/// Whether the system was short of something that every start needs: descriptors, processes or memory.
bool isShortage(const std::error_code& error);

/// A shortage that ended the start of a bug; nothing when `failure` is something else.
std::optional<OutsideFailure> shortageIn(const std::exception_ptr& failure);

/// Why a repository, or the directory for its worktrees where that is there, cannot be used, in one sentence.
/// Changes nothing.
std::optional<std::string> repositoryTrouble(const std::string& repository, const std::string& worktreeRoot);

/// What of a repository's own is missing or cannot be used, before any git is asked: its directory, or the
/// one for its worktrees, which is made.
std::optional<OutsideFailure> unusableRepository(const std::string& repository,
                                                 const std::string& worktreeRoot);

/// The failed preparation of a worktree: git could not be started, the remote or the base branch could not be
/// had. Nothing for what concerns this bug's own branch and worktree.
std::optional<OutsideFailure> outsideFailure(const std::string& repository, const GitTrouble& trouble);

/// The agent's program could not be run by what was to start it, in whose words.
OutsideFailure unstartableAgent(const std::string& program, int exitCode, const std::string& words);

}  // namespace quernlight::host
