#include "quernlight/git/git_validator.hpp"

#include <utility>

#include "quernlight/git/git_command_result.hpp"
#include "quernlight/git/repository_git.hpp"

namespace quernlight {

Task<GitValidationResult> GitValidator::validate(std::string repoPath, std::string baseBranch,
                                                 GitRunner run) {
    if (auto refused = RepositoryGit::refusal(repoPath)) {
        co_return GitValidationResult{false, std::nullopt, *std::move(refused)};
    }
    const RepositoryGit git(std::move(run), std::move(repoPath));
    std::vector<std::string> askRoot{"rev-parse", "--show-toplevel"};
    const GitCommandResult root = co_await git.run(std::move(askRoot));
    if (!root.succeeded()) {
        co_return GitValidationResult{false, std::nullopt, root.output};
    }
    const std::string rootPath = answerText(root.output);
    std::vector<std::string> askBranch{"rev-parse", "--verify", std::move(baseBranch)};
    const GitCommandResult branch = co_await git.run(std::move(askBranch));
    if (!branch.succeeded()) {
        co_return GitValidationResult{false, rootPath, branch.output};
    }
    co_return GitValidationResult{true, rootPath, "Valid repository"};
}

}  // namespace quernlight
