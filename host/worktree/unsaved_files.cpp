#include "host/worktree/unsaved_files.hpp"

#include <algorithm>
#include <array>
#include <set>

#include "quernlight/platform/file_manager.hpp"

namespace quernlight::host {
namespace {

using Words = std::vector<std::string>;

/// What `some` names and `others` does, too.
bool haveCommon(const Words& some, const Words& others) {
    const std::set<std::string> names(others.begin(), others.end());
    return std::ranges::any_of(some, [&](const std::string& name) { return names.contains(name); });
}

std::vector<IndexEntry> conflictsIn(std::vector<IndexEntry> entries) {
    std::erase_if(entries, [](const IndexEntry& entry) { return entry.stage == 0; });
    return entries;
}

Words pathsOf(const std::vector<IndexEntry>& entries) {
    std::set<std::string> paths;
    for (const IndexEntry& entry : entries) {
        paths.insert(entry.path);
    }
    return {paths.begin(), paths.end()};
}

/// One look; its steps throw WorktreeStays.
class FileLook {
  public:
    FileLook(WorktreeGit& git, std::string head) : git_(git), head_(std::move(head)) {}

    Task<UnsavedFiles> staged() {
        const auto conflicts = conflictsIn(co_await git_.index());
        headTree_ = co_await headTree();
        if (!conflicts.empty()) {
            co_await keepSides(conflicts);
            co_return std::move(found_);
        }
        std::string staged = co_await treeOfIndex();
        keep(std::move(staged), "Staged on " + branch());
        found_.isStaged = !found_.trees.empty();
        co_return std::move(found_);
    }

    Task<UnsavedFiles> all() {
        const auto conflicts = conflictsIn(co_await git_.index());
        headTree_ = co_await headTree();
        std::string staged;
        if (conflicts.empty()) {
            staged = co_await treeOfIndex();
        } else {
            co_await keepSides(conflicts);
        }
        co_await liftFlags();
        Words add{"add", "--all", "--sparse"};
        co_await git_.onSnapshot(std::move(add));
        co_await git_.index();  // which may show a repository of its own only now
        std::string files = co_await treeOfIndex();
        if (!staged.empty()) {
            found_.isStaged = co_await isLost(staged, files);
        }
        if (found_.isStaged) {
            keep(std::move(staged), "Staged on " + branch());
        }
        const Words changed = co_await differing(headTree_, files);
        found_.changed = static_cast<std::int64_t>(changed.size());
        keep(std::move(files), "Work in progress on " + branch());
        co_return std::move(found_);
    }

  private:
    const std::string& branch() const { return git_.worktree().branch; }

    Task<std::string> headTree() {
        Words lookUp{"rev-parse", "--verify", head_ + "^{tree}"};
        return git_.onSnapshot(std::move(lookUp));
    }

    Task<std::string> treeOfIndex() {
        Words write{"write-tree"};
        return git_.onSnapshot(std::move(write));
    }

    void keep(std::string tree, std::string message) {
        if (tree != (found_.trees.empty() ? headTree_ : found_.trees.back().tree)) {
            found_.trees.push_back({std::move(tree), std::move(message)});
        }
    }

    /// The paths that are not the same in both, those that only one of them has included.
    Task<Words> differing(std::string from, std::string to) {
        Words compare{"diff-tree", "-r", "--name-only", "--no-renames", std::move(from), std::move(to)};
        const std::string printed = co_await git_.onSnapshot(std::move(compare));
        co_return listedPaths(printed);
    }

    /// Whether content is staged that neither the commit nor a file has.
    Task<bool> isLost(std::string staged, std::string files) {
        Words compare{"diff-tree", "-r", "--name-only", "--no-renames", "--diff-filter=d", headTree_, staged};
        const std::string printed = co_await git_.onSnapshot(std::move(compare));
        const Words changedSince = co_await differing(std::move(staged), std::move(files));
        co_return haveCommon(listedPaths(printed), changedSince);
    }

    /// The index with the conflicts settled in favour of each side in turn.
    Task<void> keepSides(const std::vector<IndexEntry>& conflicts) {
        constexpr std::array<const char*, 3> sides{"the common ancestor's", "our", "their"};
        const Words paths = pathsOf(conflicts);
        for (std::size_t side = 0; side < sides.size(); ++side) {
            Words none{"update-index", "--force-remove", "--"};
            co_await git_.onSnapshotInParts(std::move(none), paths);
            Words those;
            for (const IndexEntry& entry : conflicts) {
                if (entry.stage == static_cast<int>(side) + 1) {
                    those.insert(those.end(),
                                 {"--cacheinfo", entry.mode + "," + entry.id + "," + entry.path});
                }
            }
            Words add{"update-index", "--add", "--replace"};
            co_await git_.onSnapshotInParts(std::move(add), those);
            std::string tree = co_await treeOfIndex();
            keep(std::move(tree), "Conflict on " + branch() + ": " + sides[side] + " files");
        }
        found_.isConflict = !found_.trees.empty();
    }

    /// What git was told to overlook is work like any other, unless it is a file that a sparse checkout left
    /// out. Of the two options git would heed only the first.
    Task<void> liftFlags() {
        Words list{"ls-files", "-v"};
        const std::string entries = co_await git_.onSnapshot(std::move(list));
        const bool isSparse = co_await git_.isSparseCheckout();
        Words paths;
        for (OverlookedPath& overlooked : overlookedPaths(entries)) {
            const bool isLeftOut =
                overlooked.isSkipped && isSparse &&
                !defaultFileManager().exists(git_.worktree().worktreePath + "/" + overlooked.path);
            if (!isLeftOut) {
                paths.push_back(std::move(overlooked.path));
            }
        }
        for (const char* flag : {"--no-assume-unchanged", "--no-skip-worktree"}) {
            Words lift{"update-index", flag, "--"};
            co_await git_.onSnapshotInParts(std::move(lift), paths);
        }
    }

    WorktreeGit& git_;
    const std::string head_;
    std::string headTree_;
    UnsavedFiles found_;
};

}  // namespace

Task<UnsavedFiles> findUnsavedFiles(WorktreeGit& git, std::string head) {
    FileLook look(git, std::move(head));
    co_return co_await look.all();
}

Task<UnsavedFiles> findStagedFiles(WorktreeGit& git, std::string head) {
    FileLook look(git, std::move(head));
    co_return co_await look.staged();
}

}  // namespace quernlight::host
