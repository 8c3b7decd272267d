#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace quernlight::host {

/// Whether an agent has worked in a bug's worktree before; one may have deleted files there rightly.
enum class WorktreeUse { first, again };

/// What is to be known of the place where a bug's worktree belongs.
struct WorktreeFacts {
    bool isThere = false;         ///< something is at the path
    bool isDirectory = false;     ///< and that is a directory
    bool hasGitEntry = false;     ///< that holds a ".git"
    bool isWorkingTree = false;   ///< in which git can work
    bool isRegistered = false;    ///< git knows of a worktree at the path
    bool isInitializing = false;  ///< and locks it while it makes it
    bool isLocked = false;        ///< somebody else has locked it, see git-worktree(1)
    bool hasIndex = false;        ///< git writes it once all files are there
    bool lacksFiles = false;      ///< of those in the index
    std::string distrust{};       ///< why no git may be run in it, as part of a sentence; empty when one may
    WorktreeUse use = WorktreeUse::first;
    bool branchIsUnused = false;  ///< a preparation has made it, and nothing was committed to it since

    /// What lies there and is not exactly what git itself checks out, a path or a few words each; absent
    /// until somebody has looked.
    std::optional<std::vector<std::string>> changes{};
};

/// The library prepares it, or says why it cannot.
struct LetPrepare {
    bool operator==(const LetPrepare&) const = default;
};

/// It may be used as it is.
struct UseWorktree {
    bool operator==(const UseWorktree&) const = default;
};

/// `WorktreeFacts::changes` are needed.
struct LookForChanges {
    bool operator==(const LookForChanges&) const = default;
};

/// It is half made and holds nobody's work: it goes, with its branch when nothing was done there, and is made
/// anew.
struct RemakeWorktree {
    bool branchToo = false;

    bool operator==(const RemakeWorktree&) const = default;
};

/// A person has to look: `reason` is what is wrong with it, as part of a sentence.
struct RefuseWorktree {
    std::string reason;

    bool operator==(const RefuseWorktree&) const = default;
};

using WorktreeStep = std::variant<LetPrepare, UseWorktree, LookForChanges, RemakeWorktree, RefuseWorktree>;

/// What is to be done about a worktree before an agent may work in it. Only one that git has finished is
/// used, and only one that holds nobody's work is removed.
WorktreeStep worktreeStep(const WorktreeFacts& facts);

}  // namespace quernlight::host
