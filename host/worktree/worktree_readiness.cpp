#include "host/worktree/worktree_readiness.hpp"

#include <algorithm>

namespace quernlight::host {
namespace {

/// Why the directory is no finished worktree; empty when it is one.
std::string defectOf(const WorktreeFacts& facts) {
    if (facts.isInitializing) {
        return "git has not finished making it";
    }
    if (!facts.hasGitEntry || !facts.isWorkingTree) {
        return "git cannot work in it";
    }
    if (!facts.hasIndex) {
        return "it has no index";
    }
    return facts.lacksFiles && facts.use == WorktreeUse::first ? "files of its branch are missing" : "";
}

std::string describe(const std::vector<std::string>& changes) {
    constexpr std::size_t mostNamed = 3;
    std::string text;
    for (std::size_t index = 0; index < std::min(changes.size(), mostNamed); ++index) {
        text += (index == 0 ? "" : ", ") + changes[index];
    }
    return text + (changes.size() > mostNamed ? ", ..." : "");
}

/// A directory that git knows nothing of is none of ours, unless only its branch tells otherwise.
bool isLeftToLibrary(const WorktreeFacts& facts) {
    if (facts.isRegistered) {
        return false;
    }
    return !facts.isDirectory || facts.isWorkingTree || (!facts.hasGitEntry && !facts.branchIsUnused);
}

/// Otherwise files that are missing may be somebody's deletions.
bool isKnownHalfMade(const WorktreeFacts& facts) {
    const bool isFirst = facts.use == WorktreeUse::first;
    return facts.isInitializing || (isFirst && facts.branchIsUnused) ||
           (!facts.hasIndex && (isFirst || facts.isWorkingTree));
}

/// The directory may be on a disk that is away, which is what locks are for.
WorktreeStep stepWithoutDirectory(const WorktreeFacts& facts) {
    if (facts.isLocked) {
        return RefuseWorktree{"its directory is away, and somebody has locked it"};
    }
    if (!facts.changes) {
        return LookForChanges{};
    }
    if (!facts.changes->empty()) {
        return RefuseWorktree{"its directory is away, and nothing else holds what was done there (" +
                              describe(*facts.changes) + ")"};
    }
    return RemakeWorktree{.branchToo = facts.isInitializing && facts.branchIsUnused};
}

}  // namespace

WorktreeStep worktreeStep(const WorktreeFacts& facts) {
    if (!facts.distrust.empty()) {
        return RefuseWorktree{facts.distrust};
    }
    if (isLeftToLibrary(facts)) {
        return LetPrepare{};
    }
    if (!facts.isThere) {
        return stepWithoutDirectory(facts);
    }
    const std::string defect = facts.isDirectory ? defectOf(facts) : "it is not a directory";
    if (defect.empty()) {
        return UseWorktree{};
    }
    if (!facts.isDirectory) {
        return RefuseWorktree{defect};
    }
    if (!facts.changes) {
        return LookForChanges{};
    }
    if (!facts.changes->empty()) {
        return RefuseWorktree{defect + ", and it holds what git did not put there (" +
                              describe(*facts.changes) + ")"};
    }
    if (!isKnownHalfMade(facts)) {
        return RefuseWorktree{defect};
    }
    return RemakeWorktree{.branchToo = facts.branchIsUnused};
}

}  // namespace quernlight::host
