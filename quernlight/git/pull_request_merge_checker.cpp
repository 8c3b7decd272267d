#include "quernlight/git/pull_request_merge_checker.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "quernlight/git/git_command_result.hpp"
#include "quernlight/git/repository_git.hpp"
#include "quernlight/git/repository_reference.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

/// What git answers to an option that it does not know (gitcli(7), the status of a usage error).
constexpr int usageError = 129;

/// Both sides of the comparison, fetched, or why they are not.
struct FetchedPullRequest {
    std::int64_t number = 0;
    std::string baseRef{};
    std::string headRef{};
    std::string trouble{};
};

std::string describe(const RepositoryReference& repository) {
    return repository.host + "/" + repository.owner + "/" + repository.repo;
}

bool isObjectID(std::string_view text) {
    return text.find_first_not_of("0123456789abcdef") == text.npos;
}

/// Whether one of the messages names the request, as squash merges or merge commits do.
bool isNamedIn(std::string_view messages, std::int64_t number) {
    const std::string squash = "(#" + std::to_string(number) + ")";
    const std::string merge = "pull request #" + std::to_string(number);
    return containsIgnoringCase(messages, squash) || containsIgnoringCase(messages, merge);
}

/// Whether git printed a message of the mentions that it was to look for. Its warnings are none; but a
/// message, too, may begin with "error: ".
bool holdsMention(std::string_view printed, std::int64_t number) {
    return !answerText(printed).empty() || isNamedIn(printed, number);
}

/// One pull request in one clone.
class Comparison {
  public:
    Comparison(GitRunner run, Url prURL, std::string repoPath, std::string baseBranch)
        : git_(std::move(run), repoPath),
          prURL_(std::move(prURL)),
          repoPath_(std::move(repoPath)),
          baseBranch_(std::move(baseBranch)) {}

    Task<FetchedPullRequest> fetch() const {
        if (auto refused = RepositoryGit::refusal(repoPath_)) {
            co_return FetchedPullRequest{.trouble = *std::move(refused)};
        }
        const auto pullRequest = parsePullRequestURL(prURL_);
        if (!pullRequest) {
            co_return FetchedPullRequest{.trouble = "Unsupported pull request URL: " + prURL_.text()};
        }
        std::vector<std::string> list{"remote", "-v"};
        const GitCommandResult listed = co_await git_.run(std::move(list));
        const std::string none =
            "No git remote in " + repoPath_ + " matches " + describe(pullRequest->repository) + ".";
        if (!listed.succeeded()) {
            co_return FetchedPullRequest{.trouble = listed.outputOr(none)};
        }
        const auto remotes = parseRemotes(listed.output);
        const auto remote = std::find_if(remotes.begin(), remotes.end(), [&](const RemoteRef& candidate) {
            return candidate.reference == pullRequest->repository;
        });
        if (remote == remotes.end()) {
            co_return FetchedPullRequest{.trouble = none};
        }
        co_return co_await fetchFrom(remote->name, pullRequest->number);
    }

    Task<PullRequestMergeState> mergeState(FetchedPullRequest fetched) const {
        const std::string number = std::to_string(fetched.number);
        std::vector<std::string> compare{"merge-base", "--is-ancestor", fetched.headRef, fetched.baseRef};
        const GitCommandResult ancestor = co_await git_.run(std::move(compare));
        if (ancestor.succeeded()) {
            co_return PullRequestMerged{};
        }
        if (ancestor.status != 1) {
            co_return PullRequestStateUnknown{
                ancestor.outputOr("Unable to compare PR " + number + " with " + baseBranch_ + ".")};
        }
        std::string newest = "--max-count=250";
        std::string messages = "--format=%s%n%b";
        const GitCommandResult log = co_await mentions(fetched, std::move(newest), std::move(messages));
        if (!log.succeeded()) {
            co_return PullRequestStateUnknown{
                log.outputOr("Unable to inspect " + baseBranch_ + " history for PR " + number + ".")};
        }
        if (!holdsMention(log.output, fetched.number)) {
            co_return PullRequestNotMerged{};
        }
        const bool recent = co_await isRecent(std::move(fetched));
        co_return recent ? PullRequestMergeState(PullRequestMerged{}) : PullRequestNotMerged{};
    }

    Task<PullRequestConflictState> conflictState(FetchedPullRequest fetched) const {
        std::vector<std::string> quietly{"merge-tree", "--write-tree", "--quiet", fetched.baseRef,
                                         fetched.headRef};
        GitCommandResult merge = co_await git_.run(std::move(quietly));
        if (merge.status == usageError) {
            std::vector<std::string> aloud{"merge-tree", "--write-tree", fetched.baseRef, fetched.headRef};
            merge = co_await git_.run(std::move(aloud));
        }
        if (merge.succeeded()) {
            co_return PullRequestMergesCleanly{};
        }
        if (merge.status == 1) {
            co_return PullRequestConflicts{};
        }
        co_return PullRequestStateUnknown{
            merge.outputOr("Unable to check PR " + std::to_string(fetched.number) + " for conflicts.")};
    }

  private:
    Task<FetchedPullRequest> fetchFrom(std::string remote, std::int64_t number) const {
        const std::string request = std::to_string(number);
        FetchedPullRequest fetched{.number = number,
                                   .baseRef = "refs/remotes/" + remote + "/" + baseBranch_,
                                   .headRef = "refs/remotes/" + remote + "/pull/" + request + "/head"};
        std::vector<std::string> fetch{"fetch", "--quiet", remote,
                                       "+refs/heads/" + baseBranch_ + ":" + fetched.baseRef,
                                       "+refs/pull/" + request + "/head:" + fetched.headRef};
        const GitCommandResult result = co_await git_.run(std::move(fetch));
        if (!result.succeeded()) {
            fetched.trouble = result.outputOr("Unable to fetch PR " + request + ".");
        }
        co_return fetched;
    }

    Task<GitCommandResult> mentions(FetchedPullRequest fetched, std::string maxCount,
                                    std::string format) const {
        const std::string number = std::to_string(fetched.number);
        std::vector<std::string> log{"log",
                                     std::move(maxCount),
                                     "--regexp-ignore-case",
                                     std::move(format),
                                     "--grep=(#" + number + ")",
                                     "--grep=pull request #" + number,
                                     fetched.baseRef};
        co_return co_await git_.run(std::move(log));
    }

    /// With patterns git counts the commits that match, not those it has looked at, so the mention that was
    /// found may be older than the newest 250 commits. Where their messages cannot be had, it counts. They
    /// are read as they stand, like git's own search does; "%s" would make one line of a subject of several.
    Task<bool> isRecent(FetchedPullRequest fetched) const {
        std::vector<std::string> log{"log", "--max-count=250", "--format=%B", fetched.baseRef};
        const GitCommandResult newest = co_await git_.run(std::move(log));
        if (!newest.succeeded()) {
            co_return true;
        }
        if (newest.output.empty()) {
            co_return co_await isAmongNewest(std::move(fetched));
        }
        co_return isNamedIn(newest.output, fetched.number);
    }

    /// For messages that cannot be read, since one of them is no UTF-8: the newest mention is looked for
    /// among the ids of the newest commits.
    Task<bool> isAmongNewest(FetchedPullRequest fetched) const {
        std::string one = "--max-count=1";
        std::string id = "--format=%H";
        const GitCommandResult mention = co_await mentions(fetched, std::move(one), std::move(id));
        std::vector<std::string> log{"log", "--max-count=250", "--format=%H", fetched.baseRef};
        const GitCommandResult newest = co_await git_.run(std::move(log));
        if (!mention.succeeded() || !newest.succeeded() || mention.output.empty()) {
            co_return true;
        }
        const auto ids = answerLines(mention.output);
        const std::string_view found = ids.empty() ? "none" : ids.back();
        co_return isObjectID(found) && newest.output.find(found) != newest.output.npos;
    }

    const RepositoryGit git_;
    const Url prURL_;
    const std::string repoPath_;
    const std::string baseBranch_;
};

Task<PullRequestMergeState> compare(GitRunner run, Url prURL, std::string repoPath, std::string baseBranch) {
    const Comparison comparison(std::move(run), std::move(prURL), std::move(repoPath), std::move(baseBranch));
    FetchedPullRequest fetched = co_await comparison.fetch();
    if (!fetched.trouble.empty()) {
        co_return PullRequestStateUnknown{fetched.trouble};
    }
    co_return co_await comparison.mergeState(std::move(fetched));
}

Task<PullRequestConflictState> tryMerge(GitRunner run, Url prURL, std::string repoPath,
                                        std::string baseBranch) {
    const Comparison comparison(std::move(run), std::move(prURL), std::move(repoPath), std::move(baseBranch));
    FetchedPullRequest fetched = co_await comparison.fetch();
    if (!fetched.trouble.empty()) {
        co_return PullRequestStateUnknown{fetched.trouble};
    }
    co_return co_await comparison.conflictState(std::move(fetched));
}

}  // namespace

PullRequestMergeChecker::PullRequestMergeChecker(GitRunner run) : runGit_(std::move(run)) {}

Task<PullRequestMergeState> PullRequestMergeChecker::mergeState(Url prURL, std::string repoPath,
                                                                std::string baseBranch) const {
    return compare(runGit_, std::move(prURL), std::move(repoPath), std::move(baseBranch));
}

Task<PullRequestConflictState> PullRequestMergeChecker::conflictState(Url prURL, std::string repoPath,
                                                                      std::string baseBranch) const {
    return tryMerge(runGit_, std::move(prURL), std::move(repoPath), std::move(baseBranch));
}

}  // namespace quernlight
