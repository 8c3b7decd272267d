#include "host/worktree/watched_git.hpp"

#include <utility>

#include "host/worktree/git_time_limit.hpp"

namespace quernlight::host {
namespace {

/// Behind "-C" and the repository.
std::string commandIn(const std::vector<std::string>& arguments) {
    return arguments.size() > 2 ? arguments[2] : "";
}

/// A git that something else has killed is no more the bug's fault than one that did not start.
std::error_code systemErrorOf(const GitCommandResult& result) {
    return wasKilled(result) ? std::make_error_code(std::errc::interrupted) : result.systemError;
}

void noteSystemError(GitTrouble& trouble, const GitCommandResult& result) {
    const std::error_code error = systemErrorOf(result);
    if (error && !trouble.systemError) {
        trouble.systemError = error;
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
