#include "quernlight/git/git_validator.hpp"

#include <utility>

#include "quernlight/git/repository_git.hpp"

namespace quernlight {

Task<GitValidationResult> GitValidator::validate(std::string repoPath, std::string baseBranch,
                                                 GitRunner run) {
    const RepositoryGit git(std::move(run), std::move(repoPath));
    std::vector<std::string> askRoot{"rev-parse", "--show-toplevel"};
    const GitCommandResult root = co_await git.run(std::move(askRoot));
    if (!root.succeeded()) {
        co_return GitValidationResult{false, std::nullopt, root.output};
    }
    std::vector<std::string> askBranch{"rev-parse", "--verify", std::move(baseBranch)};
    const GitCommandResult branch = co_await git.run(std::move(askBranch));
    if (!branch.succeeded()) {
        co_return GitValidationResult{false, root.output, branch.output};
    }
    co_return GitValidationResult{true, root.output, "Valid repository"};
}

}  // namespace quernlight
