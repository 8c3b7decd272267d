#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/worktree/worktree_git.hpp"

namespace quernlight::host {

/// Files that become a commit.
struct KeptTree {
    std::string tree{};
    std::string message{};

    bool operator==(const KeptTree&) const = default;
};

/// The files of a worktree that are in no commit.
struct UnsavedFiles {
    std::vector<KeptTree> trees{};  ///< in the order of their commits upon the worktree's own
    std::int64_t changed = 0;       ///< files of the last of these that differ from the commit's
    bool isStaged = false;          ///< some content is staged only, and in no file
    bool isConflict = false;        ///< the same of the sides of a conflict
};

/// Finds them. Trees are kept as commits upon each other: the sides of a conflict or what is staged, where no
/// file has that any more, and the files as they are. `head` is the worktree's own commit, as it was when the
/// look began. Throws WorktreeStays. Borrows `git` until it ends.
Task<UnsavedFiles> findUnsavedFiles(WorktreeGit& git, std::string head);

/// The same where the worktree's directory is gone: what its index holds.
Task<UnsavedFiles> findStagedFiles(WorktreeGit& git, std::string head);

}  // namespace quernlight::host
