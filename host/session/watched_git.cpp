#include "host/session/watched_git.hpp"

#include <utility>

namespace quernlight::host {
namespace {

/// Behind "-C" and the repository.
std::string commandIn(const std::vector<std::string>& arguments) {
    return arguments.size() > 2 ? arguments[2] : "";
}

void noteSystemError(GitTrouble& trouble, const GitCommandResult& result) {
    if (result.systemError && !trouble.systemError) {
        trouble.systemError = result.systemError;
        trouble.output = result.output;
    }
}

Task<GitCommandResult> noted(GitTrouble& trouble, std::string command, Task<GitCommandResult> running) {
    GitCommandResult result = co_await std::move(running);
    noteSystemError(trouble, result);
    trouble.failedCommand = result.succeeded() ? "" : std::move(command);
    trouble.output = result.succeeded() ? "" : result.output;
    co_return result;
}

/// Whether git is asked which worktrees there are, which it can tell of every repository that is one.
bool listsWorktrees(const std::vector<std::string>& arguments) {
    return commandIn(arguments) == "worktree" && arguments.size() > 3 && arguments[3] == "list";
}

Task<GitCommandResult> systemErrorNoted(GitTrouble& trouble, Task<GitCommandResult> running) {
    GitCommandResult result = co_await std::move(running);
    noteSystemError(trouble, result);
    co_return result;
}

}  // namespace

GitRunner watched(GitRunner run, GitTrouble& trouble) {
    return [run = std::move(run), &trouble](std::vector<std::string> arguments) {
        std::string command = commandIn(arguments);
        return noted(trouble, std::move(command), run(std::move(arguments)));
    };
}

GitRunner watchedLook(GitRunner run, GitTrouble& trouble) {
    return [run = std::move(run), &trouble](std::vector<std::string> arguments) {
        const bool isOfRepository = listsWorktrees(arguments);
        Task<GitCommandResult> running = run(std::move(arguments));
        return isOfRepository ? noted(trouble, "worktree list", std::move(running))
                              : systemErrorNoted(trouble, std::move(running));
    };
}

}  // namespace quernlight::host
