#include "host/service/remote_check.hpp"

#include <algorithm>
#include <utility>
#include <vector>

#include "host/process/time_limit.hpp"
#include "host/worktree/git_marks.hpp"
#include "host/worktree/git_time_limit.hpp"
#include "host/worktree/guarded_git.hpp"

namespace quernlight::host {
namespace {

/// "origin" where there is one, else the first; empty when there is none.
std::string chosenRemote(const std::string& printed) {
    std::string first;
    for (std::size_t begin = 0; begin < printed.size();) {
        const std::size_t end = std::min(printed.find('\n', begin), printed.size());
        const std::string name = printed.substr(begin, end - begin);
        if (name == "origin") {
            return name;
        }
        first = first.empty() ? name : first;
        begin = end + 1;
    }
    return first;
}

}  // namespace

Task<std::string> remoteTrouble(AppMapping mapping, GitRunner git) {
    const GitRunner careful = co_await guarded(std::move(git), mapping.repoPath);
    std::vector<std::string> list{"-C", mapping.repoPath, "remote"};
    const GitCommandResult listed = co_await careful(std::move(list));
    const std::string remote = listed.succeeded() ? chosenRemote(listed.output) : "";
    if (remote.empty()) {
        co_return "The repository " + mapping.repoPath +
            " has no remote, so that no agent can push its work; add one with: git remote add origin URL";
    }
    const std::string branch = "refs/heads/" + mapping.baseBranch;
    std::vector<std::string> ask{"-C", mapping.repoPath, "ls-remote", "--quiet", remote, branch};
    const GitCommandResult answered = co_await careful(std::move(ask));
    if (!answered.succeeded()) {
        co_return "The remote " + remote + " of " + mapping.repoPath + " cannot be reached now (" +
            answered.outputOr("git failed") + "); bugs are worked on once it can.";
    }
    if (answered.output.empty()) {
        co_return "The remote " + remote + " of " + mapping.repoPath + " has no branch \"" +
            mapping.baseBranch + "\", into which work could be merged; push it, or name another with --base.";
    }
    co_return "";
}

Task<std::string> remoteTrouble(std::filesystem::path home, AppMapping mapping) {
    constexpr std::chrono::seconds longest{10};
    SystemClock clock;
    const std::string repository = mapping.repoPath;
    Task<std::string> looking =
        remoteTrouble(std::move(mapping), limitedGit(gitMarkOf(home), GitOutput::answer));
    try {
        co_return co_await withTimeLimit(clock, longest, std::move(looking));
    } catch (const TimeLimitExceeded&) {
        co_return "The remote of " + repository +
            " does not answer within ten seconds; bugs are worked on once it does.";
    }
}

}  // namespace quernlight::host
