#include "quernlight/git/repository_git.hpp"

#include <filesystem>
#include <string_view>
#include <utility>

#include "quernlight/git/git_command_result.hpp"
#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

/// A relative path in a working directory that is gone is not the absolute one asked for.
bool isAt(std::string_view listed, const std::string& path) {
    try {
        return WorktreeNaming::standardizedPath(std::string(listed)) == path;
    } catch (const std::filesystem::filesystem_error&) {
        return false;
    }
}

}  // namespace

std::optional<std::string> RepositoryGit::refusal(const std::string& repoPath) {
    return repoPath.empty() ? std::optional<std::string>("The path of the repository is empty; name one.")
                            : std::nullopt;
}

RepositoryGit::RepositoryGit(GitRunner run, std::string repoPath)
    : run_(std::move(run)), repoPath_(std::move(repoPath)) {}

Task<GitCommandResult> RepositoryGit::run(std::vector<std::string> arguments) const {
    std::vector<std::string> whole{"-C", repoPath_};
    whole.insert(whole.end(), arguments.begin(), arguments.end());
    return run_(std::move(whole));
}

Task<bool> RepositoryGit::hasWorktree(std::string path) const {
    constexpr std::string_view label = "worktree ";
    std::vector<std::string> list{"worktree", "list", "--porcelain"};
    const GitCommandResult listed = co_await run(std::move(list));
    if (!listed.succeeded()) {
        co_return false;
    }
    for (const std::string_view line : answerLines(listed.output)) {
        if (line.starts_with(label) && isAt(line.substr(label.size()), path)) {
            co_return true;
        }
    }
    co_return false;
}

Task<std::string> RepositoryGit::preferredRemote() const {
    std::vector<std::string> list{"remote"};
    const GitCommandResult listed = co_await run(std::move(list));
    std::string first;
    if (!listed.succeeded()) {
        co_return first;
    }
    for (const std::string_view line : answerLines(listed.output)) {
        const std::string_view name = trimmed(line);
        if (name == "origin") {
            co_return std::string(name);
        }
        if (first.empty()) {
            first = name;
        }
    }
    co_return first;
}

}  // namespace quernlight
