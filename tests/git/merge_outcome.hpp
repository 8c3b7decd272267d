#pragma once

#include <string>

#include "quernlight/git/pull_request_merge_checker.hpp"

namespace quernlight::test {

// What a merge checker answered, in words.

inline std::string outcomeOf(const PullRequestMergeState& state) {
    if (const auto* unknown = std::get_if<PullRequestStateUnknown>(&state)) {
        return "unknown: " + unknown->reason;
    }
    return std::holds_alternative<PullRequestMerged>(state) ? "merged" : "not merged";
}

inline std::string outcomeOf(const PullRequestConflictState& state) {
    if (const auto* unknown = std::get_if<PullRequestStateUnknown>(&state)) {
        return "unknown: " + unknown->reason;
    }
    return std::holds_alternative<PullRequestMergesCleanly>(state) ? "clean" : "conflicts";
}

}  // namespace quernlight::test
