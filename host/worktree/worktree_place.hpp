#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/worktree/place_unknown.hpp"
#include "host/worktree/worktree_readiness.hpp"
#include "quernlight/git/git_runner.hpp"

namespace quernlight::host {

/// Where a bug's worktree belongs, and what git knows of it. All paths are resolved. Operations throw
/// PlaceUnknown when git cannot tell, and what the runner throws; they run on the awaiting coroutine's
/// executor, one at a time, while no other git changes the place.
class WorktreePlace {
  public:
    struct Names {
        std::string repository;
        std::string path;
        std::string branch;
        std::string baseBranch;
    };

    /// `ask` gives answers (`GitOutput::answer`); `run` shows what else git says, too.
    WorktreePlace(Names names, GitRunner run, GitRunner ask)
        : names_(std::move(names)), run_(std::move(run)), ask_(std::move(ask)) {}

    /// All but the changes.
    Task<WorktreeFacts> facts(WorktreeUse use);

    /// Whether the branch is there and more has become of it than that a preparation has created it.
    Task<bool> isBranchUsed();

    /// What lies there and is not exactly what git itself checks out, or a part of it: other files, changed
    /// ones, commits that nothing else holds. After `facts`.
    Task<std::vector<std::string>> changes();

    /// Moves the directory to a name that nobody knows and looks once more what it holds: something may have
    /// come since `changes`. If so, it is put back, and this is what has come.
    Task<std::vector<std::string>> setAside();

    /// Removes what was set aside, git's memory of the place, and the branch where that is wished for and it
    /// still points to where `facts` found it.
    Task<void> remove(bool branchToo);

  private:
    Task<GitCommandResult> git(std::string directory, std::vector<std::string> arguments);
    Task<std::string> answer(std::string directory, std::vector<std::string> arguments);
    Task<void> findRegistration(WorktreeFacts& facts);
    bool mayLookInside(WorktreeFacts& facts) const;
    Task<void> lookInside(WorktreeFacts& facts);
    Task<void> findTip();
    Task<bool> branchIsUnused();
    Task<std::vector<std::string>> changedFilesIn(std::string directory);
    void putBack();

    const Names names_;
    const GitRunner run_;
    const GitRunner ask_;
    bool isThere_ = false;
    bool gitMayHaveBeenWriting_ = false;  // it writes the index last
    bool isRegistered_ = false;
    bool isBranchElsewhere_ = false;  // checked out in another worktree
    std::string aside_;               // where the directory is now; empty: in its place
    std::string head_;                // of the registered worktree; empty when there is none
    std::string tip_;                 // of the branch; empty when there is none
};

}  // namespace quernlight::host
