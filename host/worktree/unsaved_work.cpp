#include "host/worktree/unsaved_work.hpp"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <set>

#include "host/process/user_error.hpp"
#include "host/text/counted.hpp"
#include "host/text/shell_text.hpp"
#include "host/worktree/left_behind.hpp"
#include "quernlight/platform/background_executor.hpp"
#include "quernlight/platform/file_manager.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

constexpr std::size_t mostNames = 5000;  // of commits, of one command

/// What git keeps for the worktree and nothing here could keep.
void refuseUnfinished(const WorktreeToPreserve& worktree, const WorktreePointers& pointers) {
    std::error_code none;
    if (defaultFileManager().exists(pointers.own / "locked")) {
        throw WorktreeStays{"it is locked; unlock it with \"git -C " + shellQuoted(worktree.repoPath) +
                            " worktree unlock " + shellQuoted(worktree.worktreePath) + "\""};
    }
    if (fs::directory_iterator(pointers.own / "modules", none) != fs::directory_iterator()) {
        throw WorktreeStays{"git keeps its submodules' repositories at " +
                            (pointers.own / "modules").string() +
                            "; see whether they hold commits of their own, and remove them"};
    }
    if (defaultFileManager().exists(pointers.own / "rebase-apply/applying")) {
        throw WorktreeStays{"patches are being applied in it; end that with \"git -C " +
                            shellQuoted(worktree.worktreePath) + " am --quit\" or go on with it first"};
    }
}

/// One look; its steps throw WorktreeStays.
class UnsavedWorkLookup {
  public:
    UnsavedWorkLookup(WorktreeToPreserve worktree, GitRunner ask)
        : git_(std::move(worktree), std::move(ask)) {}

    Task<UnsavedWork> work() {
        const WorktreePointers pointers = co_await git_.open();
        co_await findHead();
        co_await git_.index();  // before a git that would run in inner repositories, by their settings
        refuseUnfinished(git_.worktree(), pointers);
        co_await findIgnored();  // which may take long, so before what is to be true at the end
        work_.files = co_await findUnsavedFiles(git_, work_.head);
        co_await findCommits(objectNamesIn(pointers.own));
        co_return std::move(work_);
    }

    Task<UnsavedWork> workOfMissing() {
        const WorktreePointers pointers = co_await git_.openMissing();
        if (pointers.own.empty()) {
            co_return UnsavedWork{};
        }
        refuseUnfinished(git_.worktree(), pointers);
        co_await findHead();
        if (fs::exists(pointers.own / "index")) {
            work_.files = co_await findStagedFiles(git_, work_.head);
        }
        co_await findCommits(objectNamesIn(pointers.own));
        co_return std::move(work_);
    }

  private:
    Task<void> findHead() {
        Words lookUp{"rev-parse", "--verify", "HEAD^{commit}"};
        work_.head = co_await git_.onSnapshot(std::move(lookUp));
    }

    /// There may be very many, so they are looked at on a thread of their own.
    Task<void> findIgnored() {
        Words list{"ls-files", "--others", "--ignored", "--exclude-standard", "--directory"};
        const std::string printed = co_await git_.onSnapshot(std::move(list));
        BackgroundExecutor thread;
        auto looking = [path = git_.worktree().worktreePath, paths = listedPaths(printed)] {
            return ignoredFiles(path, paths);
        };
        work_.ignored = co_await thread.run(std::move(looking));
        if (!work_.ignored.ownRepository.empty()) {
            throw WorktreeStays{"git ignores there a repository with commits of its own, " +
                                validUtf8(work_.ignored.ownRepository) + "; push them, or move it elsewhere"};
        }
    }

    /// What an earlier saving of this branch has kept counts as not kept: it is found again when it is
    /// stored.
    Task<void> findCommits(std::set<std::string> known) {
        Words count{"rev-list", "--count", work_.head, "--not", "--remotes"};
        const std::string unpushed = co_await git_.onSnapshot(std::move(count));
        work_.unpushed = std::stoll("0" + unpushed);
        const std::string kept = "--exclude=refs/quernlight/preserved/" + git_.worktree().branch + "*";
        const Words names(known.begin(), known.end());
        std::string printed;
        for (std::size_t first = 0; first < names.size(); first += mostNames) {
            Words list{"rev-list", "--parents", "--ignore-missing"};
            std::ranges::move(partOf(names, first, mostNames), std::back_inserter(list));
            list.insert(list.end(), {"--not", work_.head, kept, "--glob=refs/*"});
            printed += co_await git_.inRepository(std::move(list)) + "\n";
        }
        work_.leftBehind = tipsOf(printed);
    }

    WorktreeGit git_;
    UnsavedWork work_;
};

}  // namespace

Task<UnsavedWorkLook> findUnsavedWork(WorktreeToPreserve worktree, GitRunner ask) {
    const std::string path = worktree.worktreePath;
    const bool isThere = defaultFileManager().exists(path);
    UnsavedWorkLookup looking(std::move(worktree), std::move(ask));
    std::string reason;
    try {
        Task<UnsavedWork> look = isThere ? looking.work() : looking.workOfMissing();
        co_return co_await std::move(look);
    } catch (const WorktreeStays& stays) {
        reason = stays.reason;
    } catch (const UserError& error) {
        reason = std::string(trimmed(error.what()));
    } catch (const fs::filesystem_error& error) {
        reason = error.what();
    }
    reason += reason.ends_with('.') ? "" : ".";
    co_return PreservingFailed{"The work in " + path + " cannot be saved, so it stays: " + reason};
}

bool hasNothingNew(const UnsavedWork& later, const UnsavedWork& saved) {
    const bool isReached = std::ranges::all_of(later.leftBehind, [&saved](const std::string& commit) {
        return std::ranges::find(saved.leftBehind, commit) != saved.leftBehind.end();
    });
    return later.head == saved.head && later.files.trees == saved.files.trees && isReached;
}

std::string describe(const UnsavedWork& work) {
    Words parts;
    if (work.files.changed > 0) {
        parts.push_back(counted(work.files.changed, "changed file"));
    }
    if (work.files.isStaged) {
        parts.emplace_back("content that is staged only");
    }
    if (work.files.isConflict) {
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
