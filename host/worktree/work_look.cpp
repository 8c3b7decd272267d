#include "host/worktree/work_look.hpp"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>

#include "host/process/user_error.hpp"
#include "host/text/counted.hpp"
#include "host/text/shell_text.hpp"
#include "host/worktree/git_listing.hpp"
#include "host/worktree/guarded_git.hpp"
#include "host/worktree/left_behind.hpp"
#include "host/worktree/worktree_pointers.hpp"
#include "host/worktree/worktree_snapshot.hpp"
#include "quernlight/platform/background_executor.hpp"
#include "quernlight/platform/file_manager.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

constexpr std::size_t mostPaths = 200;  // of one command; an even number, for options with a value
constexpr std::size_t mostNames = 5000;

/// What keeps the worktree in its place.
struct Stopped {
    std::string reason;
};

template <class Element>
Words part(const std::vector<Element>& all, std::size_t first, std::size_t most) {
    const std::size_t last = std::min(first + most, all.size());
    return {all.begin() + static_cast<std::ptrdiff_t>(first),
            all.begin() + static_cast<std::ptrdiff_t>(last)};
}

void append(Words& words, Words more) {
    std::ranges::move(more, std::back_inserter(words));
}

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

/// One look; its steps throw Stopped.
class Looking {
  public:
    Looking(WorktreeToPreserve worktree, GitRunner ask)
        : worktree_(std::move(worktree)), path_(worktree_.worktreePath), ask_(std::move(ask)) {}

    Task<WorkOfWorktree> work() {
        ask_ = co_await guarded(ask_, worktree_.repoPath);
        const WorktreePointers pointers = co_await requireWorktree();
        Words lookUp{"rev-parse", "--verify", "HEAD^{commit}"};
        work_.head = co_await inWorktree(std::move(lookUp));
        snapshot_.emplace(pointers);
        const auto entries = co_await indexed();
        refuseInnerRepositories(entries);  // before a git that would run in them, by their settings
        refuseUnfinished(pointers);
        co_await findIgnored();  // which may take long, so before what is to be true at the end
        co_await findFiles(conflictsIn(entries));
        co_await findCommits(objectNamesIn(pointers.own));
        co_return std::move(work_);
    }

    /// Of a directory that somebody has removed git still has the index and the commits, until it forgets
    /// the worktree.
    Task<WorkOfWorktree> workOfMissing() {
        const WorktreePointers pointers = registered();
        if (pointers.own.empty()) {
            co_return WorkOfWorktree{};
        }
        ask_ = co_await guarded(ask_, worktree_.repoPath);
        snapshot_.emplace(pointers);
        refuseUnfinished(pointers);
        Words lookUp{"rev-parse", "--verify", "HEAD^{commit}"};
        work_.head = co_await git(std::move(lookUp));
        if (fs::exists(pointers.own / "index")) {
            co_await findStaged();
        }
        co_await findCommits(objectNamesIn(pointers.own));
        co_return std::move(work_);
    }

  private:
    /// What git keeps for a worktree at this place; nothing runs where that leads to.
    WorktreePointers registered() const {
        WorktreePointers pointers = pointersOf(worktree_.repoPath, path_);
        const std::string place = (fs::weakly_canonical(path_) / ".git").string();
        pointers.place = worktree_.repoPath;
        pointers.own.clear();
        std::error_code none;
        for (const auto& entry : fs::directory_iterator(pointers.common / "worktrees", none)) {
            std::ifstream file(entry.path() / "gitdir");
            std::string line;
            std::getline(file, line);
            if (line == place) {
                pointers.own = entry.path();
            }
        }
        return pointers;
    }

    Task<void> findStaged() {
        const auto conflicts = conflictsIn(co_await indexed());
        headTree_ = co_await headTree();
        if (!conflicts.empty()) {
            co_return co_await keepSides(conflicts);
        }
        std::string staged = co_await treeOfIndex();
        keep(std::move(staged), "Staged on " + worktree_.branch);
        work_.isStaged = !work_.kept.empty();
    }

    Task<std::string> headTree() {
        Words lookUp{"rev-parse", "--verify", work_.head + "^{tree}"};
        return git(std::move(lookUp));
    }

    Task<std::string> run(Words options, Words arguments) {
        const std::string command = arguments.front();
        append(options, {"-c", "core.quotePath=true"});
        append(options, std::move(arguments));
        GitCommandResult result = co_await ask_(std::move(options));
        if (!result.succeeded()) {
            throw Stopped{"git " + command + " failed: " + result.output};
        }
        co_return std::move(result.output);
    }

    /// By the worktree's own pointers, which git would follow anywhere.
    Task<std::string> inWorktree(Words arguments) {
        intactPointers();
        Words options{"-C", path_};
        return run(std::move(options), std::move(arguments));
    }

    /// With the files of the worktree and the snapshot's index.
    Task<std::string> git(Words arguments) { return run(snapshot_->options(), std::move(arguments)); }

    Task<std::string> inRepository(Words arguments) {
        Words options{"-C", worktree_.repoPath};
        return run(std::move(options), std::move(arguments));
    }

    WorktreePointers intactPointers() const {
        WorktreePointers pointers = pointersOf(worktree_.repoPath, path_);
        if (pointers.state == PointerState::altered || pointers.leadsNowhere) {
            throw Stopped{describe(pointers) + "; look at it, and remove the worktree by hand"};
        }
        if (pointers.state != PointerState::intact) {
            throw Stopped{"it is no worktree of " + worktree_.repoPath};
        }
        return pointers;
    }

    /// What is saved in a repository of its own would go with the directory.
    Task<WorktreePointers> requireWorktree() {
        const Words commonDirectory{"rev-parse", "--path-format=absolute", "--git-common-dir"};
        const std::string common = co_await inWorktree(commonDirectory);
        const std::string known = co_await inRepository(commonDirectory);
        Words topLevel{"rev-parse", "--show-toplevel"};
        const std::string top = co_await inWorktree(std::move(topLevel));
        std::error_code ignored;
        if (common != known || !fs::equivalent(top, path_, ignored)) {
            throw Stopped{"it is no worktree of " + worktree_.repoPath};
        }
        co_return intactPointers();
    }

    Task<std::vector<IndexEntry>> indexed() {
        Words list{"ls-files", "--stage"};
        const std::string printed = co_await git(std::move(list));
        co_return indexEntries(printed);
    }

    /// Of a repository inside the worktree git would keep a commit's name only, or, where it knows files
    /// beside it, nothing. What lies in a submodule's directory is in no commit of this repository at all;
    /// one that was never checked out is an empty directory.
    void refuseInnerRepositories(const std::vector<IndexEntry>& entries) const {
        std::set<std::string> seen;
        for (const IndexEntry& entry : entries) {
            fs::path directory =
                entry.isRepository() ? fs::path(entry.path) : fs::path(entry.path).parent_path();
            for (; !directory.empty() && seen.insert(directory.string()).second;
                 directory = directory.parent_path()) {
                if (defaultFileManager().exists(fs::path(path_) / directory / ".git")) {
                    throw Stopped{"it holds a git repository of its own at " + validUtf8(directory.string()) +
                                  "; move that elsewhere first"};
                }
            }
        }
    }

    /// What git keeps for the worktree and nothing here could keep.
    void refuseUnfinished(const WorktreePointers& pointers) const {
        std::error_code none;
        if (defaultFileManager().exists(pointers.own / "locked")) {
            throw Stopped{"it is locked; unlock it with \"git -C " + shellQuoted(worktree_.repoPath) +
                          " worktree unlock " + shellQuoted(path_) + "\""};
        }
        if (fs::directory_iterator(pointers.own / "modules", none) != fs::directory_iterator()) {
            throw Stopped{"git keeps its submodules' repositories at " + (pointers.own / "modules").string() +
                          "; see whether they hold commits of their own, and remove them"};
        }
        if (defaultFileManager().exists(pointers.own / "rebase-apply/applying")) {
            throw Stopped{"patches are being applied in it; end that with \"git -C " + shellQuoted(path_) +
                          " am --quit\" or go on with it first"};
        }
    }

    /// Trees are kept as commits upon each other: the sides of a conflict or what is staged, where no file
    /// has that any more, and the files as they are.
    Task<void> findFiles(std::vector<IndexEntry> conflicts) {
        headTree_ = co_await headTree();
        std::string staged;
        if (conflicts.empty()) {
            staged = co_await treeOfIndex();
        } else {
            co_await keepSides(conflicts);
        }
        co_await liftFlags();
        Words add{"add", "--all", "--sparse"};
        co_await git(std::move(add));
        refuseInnerRepositories(co_await indexed());
        std::string files = co_await treeOfIndex();
        if (!staged.empty()) {
            work_.isStaged = co_await isLost(staged, files);
        }
        if (work_.isStaged) {
            keep(std::move(staged), "Staged on " + worktree_.branch);
        }
        const Words changed = co_await differing(headTree_, files);
        work_.changed = static_cast<std::int64_t>(changed.size());
        keep(std::move(files), "Work in progress on " + worktree_.branch);
    }

    Task<std::string> treeOfIndex() {
        Words write{"write-tree"};
        return git(std::move(write));
    }

    void keep(std::string tree, std::string message) {
        if (tree != (work_.kept.empty() ? headTree_ : work_.kept.back().tree)) {
            work_.kept.push_back({std::move(tree), std::move(message)});
        }
    }

    /// The paths that are not the same in both, those that only one of them has included.
    Task<Words> differing(std::string from, std::string to) {
        Words compare{"diff-tree", "-r", "--name-only", "--no-renames", std::move(from), std::move(to)};
        const std::string printed = co_await git(std::move(compare));
        co_return listedPaths(printed);
    }

    /// Whether content is staged that neither the commit nor a file has.
    Task<bool> isLost(std::string staged, std::string files) {
        Words compare{"diff-tree", "-r", "--name-only", "--no-renames", "--diff-filter=d", headTree_, staged};
        const std::string printed = co_await git(std::move(compare));
        const Words changedSince = co_await differing(std::move(staged), std::move(files));
        co_return haveCommon(listedPaths(printed), changedSince);
    }

    /// The index with the conflicts settled in favour of each side in turn.
    Task<void> keepSides(const std::vector<IndexEntry>& conflicts) {
        constexpr std::array<const char*, 3> sides{"the common ancestor's", "our", "their"};
        const Words paths = pathsOf(conflicts);
        for (std::size_t side = 0; side < sides.size(); ++side) {
            Words none{"update-index", "--force-remove", "--"};
            co_await inParts(std::move(none), paths);
            Words those;
            for (const IndexEntry& entry : conflicts) {
                if (entry.stage == static_cast<int>(side) + 1) {
                    those.insert(those.end(),
                                 {"--cacheinfo", entry.mode + "," + entry.id + "," + entry.path});
                }
            }
            Words add{"update-index", "--add", "--replace"};
            co_await inParts(std::move(add), those);
            std::string tree = co_await treeOfIndex();
            keep(std::move(tree), "Conflict on " + worktree_.branch + ": " + sides[side] + " files");
        }
        work_.isConflict = !work_.kept.empty();
    }

    Task<void> inParts(Words command, const Words& arguments) {
        for (std::size_t first = 0; first < arguments.size(); first += mostPaths) {
            Words whole = command;
            append(whole, part(arguments, first, mostPaths));
            co_await git(std::move(whole));
        }
    }

    /// What git was told to overlook is work like any other, unless it is a file that a sparse checkout left
    /// out. Of the two options git would heed only the first.
    Task<void> liftFlags() {
        Words list{"ls-files", "-v"};
        const std::string entries = co_await git(std::move(list));
        const bool isSparse = co_await isSparseCheckout();
        Words paths;
        for (OverlookedPath& overlooked : overlookedPaths(entries)) {
            const bool isLeftOut = overlooked.isSkipped && isSparse &&
                                   !defaultFileManager().exists(path_ + "/" + overlooked.path);
            if (!isLeftOut) {
                paths.push_back(std::move(overlooked.path));
            }
        }
        for (const char* flag : {"--no-assume-unchanged", "--no-skip-worktree"}) {
            Words lift{"update-index", flag, "--"};
            co_await inParts(std::move(lift), paths);
        }
    }

    Task<bool> isSparseCheckout() {
        intactPointers();
        Words ask{"-C", path_, "config", "--bool", "core.sparseCheckout"};
        const GitCommandResult answer = co_await ask_(std::move(ask));
        co_return answer.output == "true";
    }

    /// There may be very many, so they are looked at on a thread of their own.
    Task<void> findIgnored() {
        Words list{"ls-files", "--others", "--ignored", "--exclude-standard", "--directory"};
        const std::string printed = co_await git(std::move(list));
        BackgroundExecutor thread;
        auto looking = [path = path_, paths = listedPaths(printed)] { return ignoredFiles(path, paths); };
        work_.ignored = co_await thread.run(std::move(looking));
        if (!work_.ignored.ownRepository.empty()) {
            throw Stopped{"git ignores there a repository with commits of its own, " +
                          validUtf8(work_.ignored.ownRepository) + "; push them, or move it elsewhere"};
        }
    }

    /// What an earlier saving of this branch has kept counts as not kept: it is found again when it is
    /// stored.
    Task<void> findCommits(std::set<std::string> known) {
        Words count{"rev-list", "--count", work_.head, "--not", "--remotes"};
        const std::string unpushed = co_await git(std::move(count));
        work_.unpushed = std::stoll("0" + unpushed);
        const Words names(known.begin(), known.end());
        std::string printed;
        for (std::size_t first = 0; first < names.size(); first += mostNames) {
            Words list{"rev-list", "--parents", "--ignore-missing"};
            append(list, part(names, first, mostNames));
            append(list, {"--not", work_.head,
                          "--exclude=refs/quernlight/preserved/" + worktree_.branch + "*", "--glob=refs/*"});
            printed += co_await inRepository(std::move(list)) + "\n";
        }
        work_.leftBehind = tipsOf(printed);
    }

    const WorktreeToPreserve worktree_;
    const std::string path_;
    GitRunner ask_;
    std::optional<WorktreeSnapshot> snapshot_;
    std::string headTree_;
    WorkOfWorktree work_;
};

}  // namespace

Task<WorkLook> lookAtWork(WorktreeToPreserve worktree, GitRunner ask) {
    const std::string path = worktree.worktreePath;
    const bool isThere = defaultFileManager().exists(path);
    Looking looking(std::move(worktree), std::move(ask));
    std::string reason;
    try {
        Task<WorkOfWorktree> look = isThere ? looking.work() : looking.workOfMissing();
        co_return co_await std::move(look);
    } catch (const Stopped& stopped) {
        reason = stopped.reason;
    } catch (const UserError& error) {
        reason = std::string(trimmed(error.what()));
    } catch (const fs::filesystem_error& error) {
        reason = error.what();
    }
    reason += reason.ends_with('.') ? "" : ".";
    co_return PreservingFailed{"The work in " + path + " cannot be saved, so it stays: " + reason};
}

bool hasNothingNew(const WorkOfWorktree& later, const WorkOfWorktree& saved) {
    const bool isReached = std::ranges::all_of(later.leftBehind, [&saved](const std::string& commit) {
        return std::ranges::find(saved.leftBehind, commit) != saved.leftBehind.end();
    });
    return later.head == saved.head && later.kept == saved.kept && isReached;
}

std::string describe(const WorkOfWorktree& work) {
    Words parts;
    if (work.changed > 0) {
        parts.push_back(counted(work.changed, "changed file"));
    }
    if (work.isStaged) {
        parts.emplace_back("content that is staged only");
    }
    if (work.isConflict) {
        parts.emplace_back("the sides of a conflict");
    }
    if (work.unpushed > 0) {
        parts.push_back(counted(work.unpushed, "commit") + " that no remote has");
    }
    if (!work.leftBehind.empty()) {
        parts.push_back(counted(static_cast<std::int64_t>(work.leftBehind.size()), "line") +
                        " of commits that no branch has");
    }
    std::string text;
    for (std::size_t index = 0; index < parts.size(); ++index) {
        const bool isLast = index + 1 == parts.size();
        text += (index == 0 ? "" : isLast ? " and " : ", ") + parts[index];
    }
    return text;
}

}  // namespace quernlight::host
