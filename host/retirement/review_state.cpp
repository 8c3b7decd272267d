#include "host/retirement/review_state.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace quernlight::host {
namespace {

constexpr std::array<std::pair<MergeState, std::string_view>, 3> mergeNames{{
    {MergeState::unknown, "unknown"},
    {MergeState::open, "open"},
    {MergeState::merged, "merged"},
}};

constexpr std::array<std::pair<ConflictState, std::string_view>, 3> conflictNames{{
    {ConflictState::unknown, "unknown"},
    {ConflictState::none, "none"},
    {ConflictState::conflicts, "conflicts"},
}};

template <class Names, class State>
std::string_view nameIn(const Names& names, State state) {
    return std::ranges::find(names, state, &Names::value_type::first)->second;
}

template <class Names>
auto stateIn(const Names& names, std::string_view name) {
    const auto* found = std::ranges::find(names, name, &Names::value_type::second);
    return found == names.end() ? std::nullopt : std::optional(found->first);
}

}  // namespace

std::string_view nameOf(MergeState state) {
    return nameIn(mergeNames, state);
}

std::string_view nameOf(ConflictState state) {
    return nameIn(conflictNames, state);
}

std::optional<MergeState> parseMergeState(std::string_view name) {
    return stateIn(mergeNames, name);
}

std::optional<ConflictState> parseConflictState(std::string_view name) {
    return stateIn(conflictNames, name);
}

ReviewState withMergeState(ReviewState review, const PullRequestMergeState& state) {
    if (const auto* unknown = std::get_if<PullRequestStateUnknown>(&state)) {
        review.merge = MergeState::unknown;
        review.trouble = unknown->reason;
    } else {
        review.merge =
            std::holds_alternative<PullRequestMerged>(state) ? MergeState::merged : MergeState::open;
    }
    return review;
}

ReviewState withConflictState(ReviewState review, const PullRequestConflictState& state) {
    if (const auto* unknown = std::get_if<PullRequestStateUnknown>(&state)) {
        review.conflict = ConflictState::unknown;
        review.trouble = unknown->reason;
    } else {
        review.conflict = std::holds_alternative<PullRequestConflicts>(state) ? ConflictState::conflicts
                                                                              : ConflictState::none;
    }
    return review;
}

}  // namespace quernlight::host
