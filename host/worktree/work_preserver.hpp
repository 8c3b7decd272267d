#pragma once

#include <string>
#include <variant>
#include <vector>

#include "host/worktree/unsaved_work.hpp"

namespace quernlight::host {

/// All work in it is where others can have it: pushed, or there is none.
struct NothingToPreserve {};

/// It can be had back with: git worktree add PATH REFERENCE
struct KeptReference {
    std::string reference{};
    std::string commit{};
    std::string what{};  ///< is kept there, as the begin of a sentence
    bool isNew = true;   ///< false when an earlier saving had kept the same already
};

struct WorkPreserved {
    std::vector<KeptReference> references;  ///< one or two
};

using PreserveResult = std::variant<NothingToPreserve, WorkPreserved, PreservingFailed>;

/// Saves what a look has found, in the main repository: what is in no commit (the sides of a conflict, what
/// is staged only, the files as they are) as commits upon the worktree's own, at
/// refs/quernlight/preserved/BRANCH, with "-2", "-3", ... where that is taken by other work; and at another
/// of these the commits that were left behind, under one that has them for parents where they are several.
/// Touches no branch. Never throws but on cancellation.
Task<PreserveResult> keepWork(WorktreeToPreserve worktree, UnsavedWork work,
                              GitRunner ask = runGitWith({}, GitOutput::answer));

/// Looks, and saves.
Task<PreserveResult> preserveWork(WorktreeToPreserve worktree,
                                  GitRunner ask = runGitWith({}, GitOutput::answer));

}  // namespace quernlight::host
