#pragma once

#include <string>

namespace quernlight::standin::test {

/// The names that differ from one goal to the other.
struct GoalNames {
    std::string bugID = "3f2a9c1d";
    std::string worktreeRoot = "/src/Acme-worktrees";
    std::string branch = "My-App-3f2a9c1d";
    std::string baseBranch = "main";
    std::string completionInstructions = "/home/dev/instructions/completion.md";
    std::string queueItemID = "11111111-2222-4333-8444-555555555555";
    std::string sessionID = "66666666-7777-4888-9999-aaaaaaaaaaaa";

    std::string worktree() const { return worktreeRoot + "/" + branch; }
};

/// The order to fix a bug, word for word as the dispatcher types it.
std::string fixGoal(const GoalNames& names);

/// The order to follow up on a review; `prReference` is a URL or the words that stand for an unknown one.
std::string followupGoal(const GoalNames& names, const std::string& prReference);

}  // namespace quernlight::standin::test
