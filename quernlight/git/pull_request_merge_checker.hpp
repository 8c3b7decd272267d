#pragma once

#include <string>
#include <variant>

#include "quernlight/git/git_runner.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight {

/// It cannot be told, for the reason given: git's own words or one sentence.
struct PullRequestStateUnknown {
    std::string reason;

    bool operator==(const PullRequestStateUnknown&) const = default;
};

struct PullRequestMerged {
    bool operator==(const PullRequestMerged&) const = default;
};

struct PullRequestNotMerged {
    bool operator==(const PullRequestNotMerged&) const = default;
};

struct PullRequestMergesCleanly {
    bool operator==(const PullRequestMergesCleanly&) const = default;
};

struct PullRequestConflicts {
    bool operator==(const PullRequestConflicts&) const = default;
};

using PullRequestMergeState = std::variant<PullRequestStateUnknown, PullRequestMerged, PullRequestNotMerged>;
using PullRequestConflictState =
    std::variant<PullRequestStateUnknown, PullRequestMergesCleanly, PullRequestConflicts>;

/// Tells from a clone alone, without any hosting service's interface, what has become of a pull request: both
/// operations fetch the base branch and the request's head from the remote that is the request's repository,
/// and compare them. A value without state, which may go while its calls run; they run on the awaiting
/// coroutine's executor, several at once if need be. Nothing throws but cancellation and what another `run`
/// throws; there is no limit of time.
class PullRequestMergeChecker {
  public:
    explicit PullRequestMergeChecker(GitRunner run = runGit);

    /// `prURL` is https://host/owner/repo/pull/NUMBER, on any host; `repoPath` any path in the clone;
    /// `baseBranch` a branch's name without "refs/heads/".
    /// Merged when the base branch contains the head, or when one of its newest 250 commits names the request
    /// as squash merges, "(#7)", or merge commits, "pull request #7", do.
    Task<PullRequestMergeState> mergeState(Url prURL, std::string repoPath, std::string baseBranch) const;

    /// The same arguments. Whether the head would merge into the base branch; neither working tree nor index
    /// is touched.
    Task<PullRequestConflictState> conflictState(Url prURL, std::string repoPath,
                                                 std::string baseBranch) const;

  private:
    GitRunner runGit_;
};

}  // namespace quernlight
