#include "standin/codex/workspace.hpp"

#include <fstream>
#include <stdexcept>

#include "standin/codex/pull_request.hpp"

namespace quernlight::standin::codex {
namespace {

const std::string remote = "origin";
constexpr int pullRequestAttempts = 20;

void appendLine(const std::filesystem::path& path, const std::string& line) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::app | std::ios::binary);
    file << line << '\n';
    if (!file.flush()) {
        throw std::runtime_error("The file " + path.string() + " cannot be written.");
    }
}

}  // namespace

Workspace::Workspace(const Goal& goal) : goal_(goal), git_(goal.worktreePath) {}

void Workspace::prepare(std::optional<int> pullRequest) {
    if (!std::filesystem::exists(goal_.worktreePath)) {
        create();
    }
    checkOutBranch();
    takeIn("refs/heads/" + goal_.branch);
    if (pullRequest) {
        takeIn(pullRequestRef(*pullRequest));
    }
}

void Workspace::create() const {
    std::filesystem::create_directories(goal_.worktreeRoot);
    const Git repository(std::filesystem::current_path());
    if (repository.succeeds({"show-ref", "--verify", "--quiet", "refs/heads/" + goal_.branch})) {
        repository.run({"worktree", "add", goal_.worktreePath, goal_.branch});
        return;
    }
    std::string start = "HEAD";
    if (!goal_.baseBranch.empty()) {
        start = "refs/remotes/" + remote + "/" + goal_.baseBranch;
        repository.run({"fetch", "--quiet", remote, "+refs/heads/" + goal_.baseBranch + ":" + start});
    }
    repository.run({"worktree", "add", "-b", goal_.branch, goal_.worktreePath, start});
}

void Workspace::checkOutBranch() const {
    if (git_.run({"rev-parse", "--abbrev-ref", "HEAD"}) != goal_.branch &&
        !git_.succeeds({"checkout", "--quiet", goal_.branch, "--"})) {
        git_.run({"checkout", "--quiet", "-b", goal_.branch});
    }
}

void Workspace::takeIn(const std::string& remoteRef) const {
    if (!git_.run({"ls-remote", remote, remoteRef}).empty()) {
        git_.run({"fetch", "--quiet", remote, remoteRef});
        git_.run({"merge", "--quiet", "--no-edit", "FETCH_HEAD"});
    }
}

std::string Workspace::commitChange(const std::string& change, const std::string& subject) {
    const std::string file = "fixes/" + goal_.bugID + ".txt";
    appendLine(std::filesystem::path(goal_.worktreePath) / file, change);
    git_.run({"add", "--", file});
    git_.run({"commit", "--quiet", "-m", subject});
    return git_.run({"rev-parse", "--short", "HEAD"});
}

std::string Workspace::publish(std::optional<int> pullRequest) {
    const std::string address = git_.run({"remote", "get-url", remote});
    const auto repository = parseRemoteAddress(address);
    if (!repository) {
        throw std::runtime_error("The remote's address names no host, owner and repository: " + address);
    }
    git_.run({"push", "--quiet", remote, "HEAD:refs/heads/" + goal_.branch});
    if (!pullRequest) {
        return pullRequestURL(*repository, openPullRequest());
    }
    git_.run({"push", "--quiet", remote, "HEAD:" + pullRequestRef(*pullRequest)});
    return pullRequestURL(*repository, *pullRequest);
}

/// Another agent may take the next number between the look and the push; then the push is refused, and the
/// number after it is tried.
int Workspace::openPullRequest() const {
    for (int attempt = 1;; ++attempt) {
        const int number = nextPullRequestNumber(git_.run({"ls-remote", remote, "refs/pull/*/head"}));
        const std::vector<std::string> push{"push", "--quiet", remote, "HEAD:" + pullRequestRef(number)};
        if (git_.succeeds(push)) {
            return number;
        }
        if (attempt == pullRequestAttempts) {
            git_.run(push);
        }
    }
}

}  // namespace quernlight::standin::codex
