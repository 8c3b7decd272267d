#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quernlight/git/pull_request_merge_checker.hpp"
#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight::host {

enum class MergeState { unknown, open, merged };
enum class ConflictState { unknown, none, conflicts };

/// "unknown", "open" or "merged"; "unknown", "none" or "conflicts".
std::string_view nameOf(MergeState state);
std::string_view nameOf(ConflictState state);
std::optional<MergeState> parseMergeState(std::string_view name);
std::optional<ConflictState> parseConflictState(std::string_view name);

/// Work in review, and what has become of its pull request.
struct ReviewState {
    BugQueueItem item{};
    std::string branch{};
    std::optional<Url> pullRequest{};
    MergeState merge = MergeState::unknown;
    ConflictState conflict = ConflictState::unknown;  ///< of one that is open, with the base branch
    std::string trouble{};                            ///< why something is unknown, in one sentence
};

/// A part of the list of all work in review.
struct ReviewStates {
    std::vector<ReviewState> states{};
    std::size_t total = 0;  ///< of the whole list
};

/// What a merge checker found out. Pure.
ReviewState withMergeState(ReviewState review, const PullRequestMergeState& state);
ReviewState withConflictState(ReviewState review, const PullRequestConflictState& state);

/// A bug in review that was looked at in order to retire it.
struct ReapedBug {
    std::string bugID{};
    std::string appName{};
    std::string title{};
    std::optional<Url> pullRequest{};
    bool goes = false;        ///< has gone or, of a plan, would go
    std::string sentence{};   ///< why, or why not
    std::string preserved{};  ///< the references at which its work is kept or, of a plan, what would be kept
};

}  // namespace quernlight::host
