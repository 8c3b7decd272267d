#include "quernlight/git/git_worktree_cleaner.hpp"

#include <exception>
#include <filesystem>
#include <optional>
#include <utility>

#include "quernlight/git/repository_git.hpp"
#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/platform/background_executor.hpp"

namespace quernlight {
namespace {

/// A root that is relative to a working directory that is gone names no path.
std::variant<std::string, WorktreeFailed> pathFor(const CleanupBugRequest& request) {
    try {
        return WorktreeNaming::worktreePath(request.worktreeRootPath, request.appName, request.bugID);
    } catch (const std::filesystem::filesystem_error& error) {
        return WorktreeFailed{error.what()};
    }
}

std::optional<WorktreeFailed> refusal(const std::string& path, const CleanupBugRequest& request) {
    if (!WorktreeNaming::isInside(path, request.worktreeRootPath)) {
        return WorktreeFailed{"Refusing to clean worktree outside configured root: " + path};
    }
    const auto reason = WorktreeNaming::refusal(request.bugID);
    return reason ? std::optional(WorktreeFailed{*reason}) : std::nullopt;
}

Task<GitWorktreeCleanupResult> removeRegistered(const RepositoryGit& git, std::string path) {
    std::vector<std::string> remove{"worktree", "remove", "--force", path};
    const GitCommandResult removed = co_await git.run(std::move(remove));
    if (!removed.succeeded()) {
        co_return WorktreeFailed{removed.outputOr("Failed to remove worktree " + path + ".")};
    }
    co_return WorktreeRemoved{path};
}

/// Nothing when the path holds a worktree that git has forgotten, which is to be deleted.
std::optional<GitWorktreeCleanupResult> nothingToDelete(const FileManager& files, const std::string& path) {
    if (auto obstacle = files.obstacle(std::filesystem::path(path) / ".git")) {
        return WorktreeFailed{"Unable to look at " + path + ": " + *obstacle};
    }
    if (!files.exists(path)) {
        return WorktreeNotFound{path};
    }
    if (!files.isDirectory(path)) {
        return WorktreeSkipped{"Configured worktree path is not a directory: " + path};
    }
    if (!files.exists(std::filesystem::path(path) / ".git")) {
        return WorktreeSkipped{"Configured worktree path does not look like a git worktree: " + path};
    }
    return std::nullopt;
}

GitWorktreeCleanupResult deleteDirectory(const FileManager& files, const std::string& path) {
    try {
        files.removeAll(path);
        return WorktreeRemoved{path};
    } catch (const std::exception& error) {
        return WorktreeFailed{error.what()};
    }
}

/// A working copy can hold very many files, so they are deleted on a thread of their own.
Task<GitWorktreeCleanupResult> removeForgotten(std::reference_wrapper<const FileManager> files,
                                               std::string path) {
    std::optional<BackgroundExecutor> thread;
    try {
        thread.emplace();
    } catch (const std::exception& error) {
        co_return WorktreeFailed{error.what()};
    }
    auto deletion = [files, path] { return deleteDirectory(files, path); };
    co_return co_await thread->run(std::move(deletion));
}

Task<GitWorktreeCleanupResult> cleanUp(GitRunner run, std::reference_wrapper<const FileManager> files,
                                       CleanupBugRequest request) {
    const auto named = pathFor(request);
    if (const auto* nowhere = std::get_if<WorktreeFailed>(&named)) {
        co_return *nowhere;
    }
    const std::string path = std::get<std::string>(named);
    if (auto refused = refusal(path, request)) {
        co_return *refused;
    }
    if (auto refused = RepositoryGit::refusal(request.repoPath)) {
        co_return WorktreeFailed{*std::move(refused)};
    }
    const RepositoryGit git(std::move(run), request.repoPath);
    const bool isRegistered = co_await git.hasWorktree(path);
    if (isRegistered) {
        co_return co_await removeRegistered(git, path);
    }
    if (auto found = nothingToDelete(files, path)) {
        co_return *found;
    }
    co_return co_await removeForgotten(files, path);
}

}  // namespace

GitWorktreeCleaner::GitWorktreeCleaner(GitRunner run, const FileManager& fileManager)
    : runGit_(std::move(run)), fileManager_(fileManager) {}

CleanupBugRequest CleanupBugFields::request() const {
    return {.repoPath = std::string(repoPath),
            .worktreeRootPath = std::string(worktreeRootPath),
            .appName = std::string(appName),
            .bugID = std::string(bugID)};
}

Task<GitWorktreeCleanupResult> GitWorktreeCleaner::cleanupImplementedBug(CleanupBugFields fields) const {
    return start(fields.request());
}

Task<GitWorktreeCleanupResult> GitWorktreeCleaner::start(CleanupBugRequest request) const {
    return cleanUp(runGit_, fileManager_, std::move(request));
}

}  // namespace quernlight
