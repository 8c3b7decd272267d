#pragma once

#include <string>

#include "host/retirement/review_state.hpp"

namespace quernlight::host {

/// What was seen of a bug in review.
struct RetirementLook {
    std::string bugID{};
    MergeState merge = MergeState::unknown;
    std::string trouble{};    ///< why it is unknown
    bool isWorkedOn = false;  ///< by a session
    bool isInReview = true;   ///< still
    bool homeIsInPlace = true;
    std::string blocker{};  ///< why its worktree must not be touched; empty when it may go
};

struct RetirementPlan {
    bool isKnown = false;  ///< whether it is merged
    bool goes = false;
    bool needsPerson = false;  ///< it is merged, and something keeps its worktree
    std::string sentence{};    ///< why, or why not
};

/// Whether a bug is to be retired now. Pure.
RetirementPlan retirementPlan(const RetirementLook& look);

}  // namespace quernlight::host
