#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/worktree/git_listing.hpp"
#include "host/worktree/worktree_pointers.hpp"
#include "host/worktree/worktree_snapshot.hpp"
#include "quernlight/git/git_runner.hpp"

namespace quernlight::host {

/// A worktree that is about to go.
struct WorktreeToPreserve {
    std::string repoPath;      ///< the main repository
    std::string worktreePath;  ///< may be gone already
    std::string branch;        ///< names the reference
};

/// Thrown where a worktree holds what nothing could keep, or git fails: it must stay.
struct WorktreeStays {
    std::string reason;
};

/// Git as it looks at a worktree whose files may be an agent's: by intact pointers only, without programs
/// that are configured there, and with a copy of its index. Throws WorktreeStays for a git that fails. Used
/// by one look at a time.
class WorktreeGit {
  public:
    using Words = std::vector<std::string>;

    /// `ask` gives answers (`GitOutput::answer`).
    WorktreeGit(WorktreeToPreserve worktree, GitRunner ask)
        : worktree_(std::move(worktree)), ask_(std::move(ask)) {}

    const WorktreeToPreserve& worktree() const { return worktree_; }

    /// Before all else. Throws WorktreeStays for a directory that is no worktree of the repository.
    Task<WorktreePointers> open();

    /// The same where somebody has removed the directory: of that git still has the index and the commits,
    /// until it forgets the worktree. Without an own directory where git knows of none.
    Task<WorktreePointers> openMissing();

    /// By the worktree's own pointers, which git would follow anywhere.
    Task<std::string> inWorktree(Words arguments);
    /// With the files of the worktree and the copy of its index.
    Task<std::string> onSnapshot(Words arguments);
    Task<std::string> inRepository(Words arguments);

    /// The command with so many of the arguments at a time as a command line holds; an even number, for
    /// options with a value.
    Task<void> onSnapshotInParts(Words command, Words arguments);

    /// What is in the index. Throws WorktreeStays for a repository inside of the worktree: of such a one git
    /// would keep a commit's name only, or, where it knows files beside it, nothing. What lies in a
    /// submodule's directory is in no commit of this repository at all; one that was never checked out is an
    /// empty directory.
    Task<std::vector<IndexEntry>> index();

    Task<bool> isSparseCheckout();

  private:
    Task<std::string> run(Words options, Words arguments);
    Task<void> requireWorktree();
    WorktreePointers intactPointers() const;
    WorktreePointers registered() const;

    const WorktreeToPreserve worktree_;
    GitRunner ask_;
    std::optional<WorktreeSnapshot> snapshot_;
};

/// A part of all, from `first`, of at most so many.
std::vector<std::string> partOf(const std::vector<std::string>& all, std::size_t first, std::size_t most);

}  // namespace quernlight::host
