#pragma once

#include <string>
#include <variant>

#include "quernlight/git/git_runner.hpp"

namespace quernlight::host {

/// A worktree that is about to go.
struct WorktreeToPreserve {
    std::string repoPath;      ///< the main repository
    std::string worktreePath;  ///< may be gone already
    std::string branch;        ///< names the reference
};

/// All work in it is where others can have it: pushed, or there is none.
struct NothingToPreserve {};

/// It can be had back with: git worktree add PATH REFERENCE
struct WorkPreserved {
    std::string reference;
    std::string commit;
    bool isNew = true;  ///< false when an earlier saving had kept the same already
};

/// It could not be saved, for this reason in one sentence; the worktree must stay.
struct PreservingFailed {
    std::string reason;
};

using PreserveResult = std::variant<NothingToPreserve, WorkPreserved, PreservingFailed>;

/// Saves what a worktree holds and no remote does (changed and untracked files that are not ignored, commits)
/// as a commit at refs/quernlight/preserved/BRANCH in the main repository, with "-2", "-3", ... where that is
/// taken by other work. Changes that git was told to overlook are saved too; files that a sparse checkout
/// leaves out are not taken for deleted. Touches no branch and no index but the worktree's own. Never throws
/// but on cancellation. `ask` gives answers (`GitOutput::answer`): what it prints is taken by its word.
Task<PreserveResult> preserveWork(WorktreeToPreserve worktree,
                                  GitRunner ask = runGitWith({}, GitOutput::answer));

}  // namespace quernlight::host
