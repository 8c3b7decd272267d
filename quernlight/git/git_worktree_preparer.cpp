#include "quernlight/git/git_worktree_preparer.hpp"

#include <exception>
#include <filesystem>
#include <optional>
#include <utility>

#include "quernlight/git/repository_git.hpp"
#include "quernlight/git/worktree_naming.hpp"

namespace quernlight {
namespace {

using StartPoint = std::variant<std::string, WorktreeFailed>;

struct Place {
    std::string root;
    std::string path;
    std::string branch;
};

/// A root that is relative to a working directory that is gone names no place.
std::variant<Place, WorktreeFailed> placeFor(const PrepareBugRequest& request) {
    try {
        return Place{WorktreeNaming::standardizedPath(request.worktreeRootPath),
                     WorktreeNaming::worktreePath(request.worktreeRootPath, request.appName, request.bugID),
                     WorktreeNaming::branchName(request.appName, request.bugID)};
    } catch (const std::filesystem::filesystem_error& error) {
        return WorktreeFailed{error.what()};
    }
}

std::optional<WorktreeFailed> refusal(const Place& place, const std::string& bugID) {
    if (!WorktreeNaming::isInside(place.path, place.root)) {
        return WorktreeFailed{"Refusing to create worktree outside configured root: " + place.path};
    }
    const auto reason = WorktreeNaming::refusal(bugID);
    return reason ? std::optional(WorktreeFailed{*reason}) : std::nullopt;
}

/// What is at the path already decides; nothing when the path is free.
std::optional<GitWorktreePrepareResult> existing(const FileManager& files, const Place& place) {
    if (auto obstacle = files.obstacle(std::filesystem::path(place.path) / ".git")) {
        return WorktreeFailed{"Unable to look at " + place.path + ": " + *obstacle};
    }
    if (!files.exists(place.path)) {
        return std::nullopt;
    }
    if (!files.isDirectory(place.path)) {
        return WorktreeFailed{"Configured worktree path is not a directory: " + place.path};
    }
    if (!files.exists(std::filesystem::path(place.path) / ".git")) {
        return WorktreeFailed{"Configured worktree path already exists but is not a git worktree: " +
                              place.path};
    }
    return WorktreeAlreadyExists{place.path, place.branch};
}

std::optional<WorktreeFailed> createRoot(const FileManager& files, const std::string& root) {
    try {
        files.createDirectories(root);
        return std::nullopt;
    } catch (const std::exception& error) {
        return WorktreeFailed{"Unable to create worktree root " + root + ": " + error.what()};
    }
}

Task<StartPoint> latestOf(const RepositoryGit& git, std::string remote, std::string branch) {
    const std::string reference = "refs/remotes/" + remote + "/" + branch;
    std::vector<std::string> fetch{"fetch", "--quiet", remote, "+refs/heads/" + branch + ":" + reference};
    const GitCommandResult fetched = co_await git.run(std::move(fetch));
    if (!fetched.succeeded()) {
        co_return WorktreeFailed{
            fetched.outputOr("Unable to fetch latest " + branch + " from " + remote + ".")};
    }
    co_return reference;
}

Task<StartPoint> localTipOf(const RepositoryGit& git, std::string branch) {
    std::vector<std::string> resolve{"rev-parse", "--verify", branch};
    const GitCommandResult resolved = co_await git.run(std::move(resolve));
    if (!resolved.succeeded()) {
        co_return WorktreeFailed{resolved.outputOr("Unable to resolve local " + branch + ".")};
    }
    co_return branch;
}

Task<StartPoint> startPoint(const RepositoryGit& git, std::string baseBranch) {
    std::string remote = co_await git.preferredRemote();
    if (remote.empty()) {
        co_return co_await localTipOf(git, std::move(baseBranch));
    }
    co_return co_await latestOf(git, std::move(remote), std::move(baseBranch));
}

Task<GitWorktreePrepareResult> add(const RepositoryGit& git, Place place, std::string start) {
    std::vector<std::string> ask{"show-ref", "--verify", "--quiet", "refs/heads/" + place.branch};
    const GitCommandResult branch = co_await git.run(std::move(ask));
    std::vector<std::string> attach{"worktree", "add", place.path, place.branch};
    std::vector<std::string> create{"worktree", "add", "-b", place.branch, place.path, std::move(start)};
    const GitCommandResult added = co_await git.run(branch.succeeded() ? attach : create);
    if (!added.succeeded()) {
        co_return WorktreeFailed{added.outputOr("Unable to create worktree " + place.path + ".")};
    }
    co_return WorktreeCreated{place.path, place.branch};
}

Task<GitWorktreePrepareResult> prepare(GitRunner run, std::reference_wrapper<const FileManager> files,
                                       PrepareBugRequest request) {
    const auto named = placeFor(request);
    if (const auto* nowhere = std::get_if<WorktreeFailed>(&named)) {
        co_return *nowhere;
    }
    const Place place = std::get<Place>(named);
    if (auto refused = refusal(place, request.bugID)) {
        co_return *refused;
    }
    if (auto refused = RepositoryGit::refusal(request.repoPath)) {
        co_return WorktreeFailed{*std::move(refused)};
    }
    const RepositoryGit git(std::move(run), request.repoPath);
    const bool isRegistered = co_await git.hasWorktree(place.path);
    if (isRegistered) {
        co_return WorktreeAlreadyExists{place.path, place.branch};
    }
    if (auto found = existing(files, place)) {
        co_return *found;
    }
    if (auto failed = createRoot(files, place.root)) {
        co_return *failed;
    }
    const StartPoint start = co_await startPoint(git, request.baseBranch);
    if (const auto* failed = std::get_if<WorktreeFailed>(&start)) {
        co_return *failed;
    }
    co_return co_await add(git, place, std::get<std::string>(start));
}

}  // namespace

GitWorktreePreparer::GitWorktreePreparer(GitRunner run, const FileManager& fileManager)
    : runGit_(std::move(run)), fileManager_(fileManager) {}

PrepareBugRequest PrepareBugFields::request() const {
    return {.repoPath = std::string(repoPath),
            .worktreeRootPath = std::string(worktreeRootPath),
            .appName = std::string(appName),
            .bugID = std::string(bugID),
            .baseBranch = std::string(baseBranch)};
}

Task<GitWorktreePrepareResult> GitWorktreePreparer::prepareBug(PrepareBugFields fields) const {
    return start(fields.request());
}

Task<GitWorktreePrepareResult> GitWorktreePreparer::start(PrepareBugRequest request) const {
    return prepare(runGit_, fileManager_, std::move(request));
}

}  // namespace quernlight
