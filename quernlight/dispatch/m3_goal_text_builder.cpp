#include "quernlight/dispatch/m3_goal_text_builder.hpp"

#include "quernlight/platform/control_characters.hpp"

namespace quernlight {

std::string M3GoalTextBuilder::verificationGoal(const VerificationGoalFields& fields) {
    return "/goal M3 runner verification only. Do not modify files, create branches, commit, or run commands "
           "beyond pwd unless asked. Confirm you are in the mapped repository, then wait for user input.\n"
           "App: " +
           blankedControls(fields.appName) + "\nBranch: " + fields.baseBranch +
           "\nBug title: " + blankedControls(fields.bugTitle) +
           "\nBug URL: " + blankedControls(fields.bugURL.text()) + "\n\n";
}

}  // namespace quernlight
