#pragma once

#include <string>
#include <variant>

namespace quernlight {

// What became of a bug's worktree. Paths are absolute and standardised (`WorktreeNaming`).

/// A new worktree was added.
struct WorktreeCreated {
    std::string worktreePath;
    std::string branchName;
    bool operator==(const WorktreeCreated&) const = default;
};

/// A worktree is at the path already, or git has one registered there.
struct WorktreeAlreadyExists {
    std::string worktreePath;
    std::string branchName;
    bool operator==(const WorktreeAlreadyExists&) const = default;
};

/// Nothing is left at the path.
struct WorktreeRemoved {
    std::string worktreePath;
    bool operator==(const WorktreeRemoved&) const = default;
};

/// Neither git nor the file system has anything at the path.
struct WorktreeNotFound {
    std::string worktreePath;
    bool operator==(const WorktreeNotFound&) const = default;
};

/// Something is at the path that is no worktree; it was left alone.
struct WorktreeSkipped {
    std::string reason;
    bool operator==(const WorktreeSkipped&) const = default;
};

/// The worker could not do its work: git's own words, or a sentence that says why.
struct WorktreeFailed {
    std::string message;
    bool operator==(const WorktreeFailed&) const = default;
};

using GitWorktreePrepareResult = std::variant<WorktreeCreated, WorktreeAlreadyExists, WorktreeFailed>;
using GitWorktreeCleanupResult =
    std::variant<WorktreeRemoved, WorktreeNotFound, WorktreeSkipped, WorktreeFailed>;

}  // namespace quernlight
