#include "host/worktree/worktree_preparation.hpp"

#include <filesystem>
#include <memory>
#include <optional>

#include "host/process/user_error.hpp"
#include "host/text/shell_text.hpp"
#include "host/worktree/git_time_limit.hpp"
#include "host/worktree/guarded_git.hpp"
#include "host/worktree/resolved_mapping.hpp"
#include "host/worktree/worktree_place.hpp"
#include "quernlight/git/worktree_naming.hpp"

namespace quernlight::host {
namespace {

constexpr int mostTries = 3;

Task<GitCommandResult> runNoting(GitRunner run, std::vector<std::string> arguments,
                                 std::shared_ptr<bool> killed) {
    GitCommandResult result = co_await run(std::move(arguments));
    *killed = *killed || wasKilled(result);
    co_return result;
}

/// `run`, which notes in `killed` when something else ends a git.
GitRunner notingKills(GitRunner run, std::shared_ptr<bool> killed) {
    return [run = std::move(run), killed = std::move(killed)](std::vector<std::string> arguments) {
        return runNoting(run, std::move(arguments), killed);
    };
}

PrepareBugRequest resolved(PrepareBugRequest request) {
    request.repoPath = resolvedPath(request.repoPath);
    request.worktreeRootPath = resolvedPath(request.worktreeRootPath);
    return request;
}

WorktreePlace::Names namesFor(const PrepareBugRequest& request) {
    return {.repository = request.repoPath,
            .path = WorktreeNaming::worktreePath(request.worktreeRootPath, request.appName, request.bugID),
            .branch = WorktreeNaming::branchName(request.appName, request.bugID),
            .baseBranch = request.baseBranch};
}

std::string describeRefusal(const WorktreePlace::Names& names, bool canGitRemove,
                            const RefuseWorktree& refused) {
    const std::string removal = canGitRemove
                                    ? "removed it with: git -C " + shellQuoted(names.repository) +
                                          " worktree remove --force --force " + shellQuoted(names.path)
                                    : "mended it, or removed it by hand.";
    return "The worktree at " + names.path + " cannot be used: " + refused.reason +
           ". It is left alone; keep what is needed of it, and retry the bug once you have " + removal;
}

/// A worktree that may be used or a reason why none can be; nothing when the place is ready to be prepared.
Task<std::optional<GitWorktreePrepareResult>> makeRoom(const PrepareBugRequest& request, PreparationGit git,
                                                       WorktreeUse use) {
    const WorktreePlace::Names names = namesFor(request);
    WorktreePlace place(names, std::move(git.run), std::move(git.ask));
    WorktreeFacts facts = co_await place.facts(use);
    WorktreeStep step = worktreeStep(facts);
    if (std::holds_alternative<LookForChanges>(step)) {
        facts.changes = co_await place.changes();
        step = worktreeStep(facts);
    }
    if (std::holds_alternative<RemakeWorktree>(step)) {
        facts.changes = co_await place.setAside();
        step = worktreeStep(facts);
    }
    if (const auto* remake = std::get_if<RemakeWorktree>(&step)) {
        co_await place.remove(remake->branchToo);
    } else if (const auto* refused = std::get_if<RefuseWorktree>(&step)) {
        const bool canGitRemove = facts.isRegistered && facts.distrust.empty();
        co_return WorktreeFailed{describeRefusal(names, canGitRemove, *refused)};
    } else if (std::holds_alternative<UseWorktree>(step)) {
        co_return WorktreeAlreadyExists{names.path, names.branch};
    }
    co_return std::nullopt;
}

/// What the library refuses to look at is for it to refuse.
bool isRefused(const PrepareBugRequest& request) {
    const std::string path = namesFor(request).path;
    return !WorktreeNaming::isInside(path, request.worktreeRootPath) ||
           WorktreeNaming::refusal(request.bugID);
}

Task<GitWorktreePrepareResult> prepareOnce(const PrepareBugRequest& request, PreparationGit git,
                                           WorktreeUse use) {
    if (!isRefused(request)) {
        const auto found = co_await makeRoom(request, git, use);
        if (found) {
            co_return *found;
        }
    }
    const GitWorktreePreparer worktrees(std::move(git.run));
    co_return co_await worktrees.prepareBug(request);
}

Task<GitWorktreePrepareResult> tryOnce(const PrepareBugRequest& request, PreparationGit git,
                                       WorktreeUse use) {
    try {
        co_return co_await prepareOnce(request, std::move(git), use);
    } catch (const PlaceUnknown& error) {
        co_return WorktreeFailed{error.what()};
    } catch (const UserError& error) {
        co_return WorktreeFailed{error.what()};
    } catch (const std::filesystem::filesystem_error& error) {
        co_return WorktreeFailed{error.what()};
    }
}

}  // namespace

Task<GitWorktreePrepareResult> prepareUsableWorktree(PrepareBugRequest request, PreparationGit git,
                                                     WorktreeUse use) {
    request = resolved(std::move(request));
    for (int tries = 1;; ++tries) {
        const auto killed = std::make_shared<bool>(false);
        PreparationGit noting{.run = notingKills(git.run, killed), .ask = notingKills(git.ask, killed)};
        GitWorktreePrepareResult prepared = co_await tryOnce(request, std::move(noting), use);
        const auto* failed = std::get_if<WorktreeFailed>(&prepared);
        if (!failed || !*killed) {
            co_return prepared;
        }
        if (tries == mostTries) {
            co_return WorktreeFailed{
                "Something else ended git while it prepared the worktree (a lack of memory, perhaps); see to "
                "that, then retry the bug. Git says: " +
                failed->message};
        }
    }
}

Task<bool> hasEarlierWork(PrepareBugRequest request, GitRunner ask) {
    request = resolved(std::move(request));
    if (isRefused(request)) {
        co_return false;
    }
    const GitRunner careful = guardedLater(std::move(ask), request.repoPath);
    WorktreePlace place(namesFor(request), careful, careful);
    co_return co_await place.isBranchUsed();
}

}  // namespace quernlight::host
