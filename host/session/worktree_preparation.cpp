#include "host/session/worktree_preparation.hpp"

#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/platform/file_manager.hpp"

namespace quernlight::host {
namespace {

/// Behind a symbolic link git knows the directory by another path; then it refuses to add one, naming this
/// path.
bool isOnlyRemembered(const GitWorktreePrepareResult& prepared, const std::string& path) {
    if (defaultFileManager().exists(path)) {
        return false;
    }
    const auto* failed = std::get_if<WorktreeFailed>(&prepared);
    return std::holds_alternative<WorktreeAlreadyExists>(prepared) ||
           (failed && failed->message.find(path) != std::string::npos);
}

}  // namespace

Task<GitWorktreePrepareResult> prepareUsableWorktree(PrepareBugRequest request, GitRunner run) {
    const std::string path =
        WorktreeNaming::worktreePath(request.worktreeRootPath, request.appName, request.bugID);
    const GitWorktreePreparer worktrees(std::move(run));
    GitWorktreePrepareResult prepared = co_await worktrees.prepareBug(request);
    if (isOnlyRemembered(prepared, path)) {
        std::vector<std::string> prune{"-C", request.repoPath, "worktree", "prune"};
        co_await runGit(std::move(prune));
        prepared = co_await worktrees.prepareBug(request);
    }
    co_return prepared;
}

}  // namespace quernlight::host
