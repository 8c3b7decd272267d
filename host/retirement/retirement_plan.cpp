#include "host/retirement/retirement_plan.hpp"

namespace quernlight::host {

RetirementPlan retirementPlan(const RetirementLook& look) {
    const std::string bug = "Bug " + look.bugID;
    if (look.isWorkedOn) {
        return {.sentence = bug + " is being worked on."};
    }
    if (!look.isInReview) {
        return {.sentence = bug + " is in review no more."};
    }
    if (!look.homeIsInPlace) {
        return {.sentence = bug + " stays: the dispatch home was moved, removed or replaced."};
    }
    if (look.merge == MergeState::unknown) {
        return {.sentence = bug + ": whether its pull request is merged is unknown: " + look.trouble};
    }
    if (look.merge == MergeState::open) {
        return {.isKnown = true, .sentence = bug + ": its pull request is not merged."};
    }
    if (!look.blocker.empty()) {
        return {.isKnown = true, .needsPerson = true, .sentence = look.blocker};
    }
    return {.isKnown = true,
            .goes = true,
            .sentence = "Merged: the bug leaves the queue, and its worktree is gone."};
}

}  // namespace quernlight::host
