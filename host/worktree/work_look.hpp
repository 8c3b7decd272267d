#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "host/worktree/ignored_files.hpp"
#include "quernlight/git/git_runner.hpp"

namespace quernlight::host {

/// A worktree that is about to go.
struct WorktreeToPreserve {
    std::string repoPath;      ///< the main repository
    std::string worktreePath;  ///< may be gone already
    std::string branch;        ///< names the reference
};

/// Files that become a commit.
struct KeptTree {
    std::string tree{};
    std::string message{};

    bool operator==(const KeptTree&) const = default;
};

/// What a worktree holds that would go with it.
struct WorkOfWorktree {
    std::string head{};         ///< its commit; empty: there is no worktree
    std::int64_t unpushed = 0;  ///< commits up to that which no remote has
    std::vector<KeptTree>
        kept{};                ///< files that are in no commit, in the order of their commits upon that one
    std::int64_t changed = 0;  ///< files of the last of these that differ from the commit's
    bool isStaged = false;     ///< some content is staged only, and in no file
    bool isConflict = false;   ///< the same of the sides of a conflict
    std::vector<std::string> leftBehind{};  ///< commits without a child that no reference reaches
    IgnoredFiles ignored{};                 ///< which nobody keeps
};

/// It cannot be saved, for this reason in one sentence; the worktree must stay.
struct PreservingFailed {
    std::string reason;
};

using WorkLook = std::variant<WorkOfWorktree, PreservingFailed>;

/// Finds what is to be kept of a worktree, its own index being left as it is. Objects that no reference names
/// yet are all that this writes. A worktree that holds what could not be kept must stay: a repository of its
/// own, a submodule's, patches that git is applying. Never throws but on cancellation. `ask` gives answers
/// (`GitOutput::answer`): what it prints is taken by its word.
Task<WorkLook> lookAtWork(WorktreeToPreserve worktree, GitRunner ask);

/// Whether a later look has found nothing that the saving of an earlier one has not kept. Pure.
bool hasNothingNew(const WorkOfWorktree& later, const WorkOfWorktree& saved);

/// "3 changed files, 2 commits that no remote has"; without what is ignored; empty for nothing. Pure.
std::string describe(const WorkOfWorktree& work);

}  // namespace quernlight::host
