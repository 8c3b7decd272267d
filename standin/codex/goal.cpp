#include "standin/codex/goal.hpp"

#include <algorithm>

#include "quernlight/platform/text.hpp"

namespace quernlight::standin::codex {
namespace {

constexpr std::string_view goalCommand = "/goal";

/// Walks a text from one fixed phrase to the next; a phrase that does not come makes the whole reading fail.
class PhraseReader {
  public:
    explicit PhraseReader(std::string_view text) : rest_(text) {}

    void skipPast(std::string_view phrase) { takeUntil(phrase); }

    std::string takeUntil(std::string_view phrase) {
        const std::size_t found = rest_.find(phrase);
        if (found == std::string_view::npos) {
            failed_ = true;
            rest_ = {};
            return {};
        }
        std::string taken(rest_.substr(0, found));
        rest_.remove_prefix(found + phrase.size());
        return taken;
    }

    bool failed() const { return failed_; }

  private:
    std::string_view rest_;
    bool failed_ = false;
};

void readClosing(PhraseReader& reader, Goal& goal) {
    reader.skipPast("post a completion comment to the bug following: ");
    goal.completionInstructionsPath = reader.takeUntil(". Use queue_item_id \"");
    goal.queueItemID = reader.takeUntil("\", session_id \"");
    goal.sessionID = reader.takeUntil("\", and the PR URL you ");
}

Goal readFix(PhraseReader& reader) {
    Goal goal;
    goal.flow = GoalFlow::fixBug;
    reader.skipPast("to set bug ");
    goal.bugID = reader.takeUntil(" to status \"investigate\"");
    reader.skipPast("\n2. Investigate this bug: ");
    goal.shareURL = reader.takeUntil(" according to these instructions ");
    reader.skipPast("create parent directory ");
    goal.worktreeRoot = reader.takeUntil(" if needed, then start feature branch ");
    goal.branch = reader.takeUntil(" in fresh worktree ");
    goal.worktreePath = reader.takeUntil(" off of the latest ");
    goal.baseBranch = reader.takeUntil(". The 8-character bug id ");
    readClosing(reader, goal);
    return goal;
}

std::string urlOrNothing(std::string reference) {
    return reference.starts_with("the bug's ") ? std::string() : reference;
}

Goal readFollowup(PhraseReader& reader) {
    Goal goal;
    goal.flow = GoalFlow::reviewFollowup;
    reader.skipPast("Keep bug ");
    goal.bugID = reader.takeUntil(" in status \"in_review\"");
    reader.skipPast("\n2. Load the full bug ");
    goal.shareURL = reader.takeUntil(" with Quernlight MCP");
    reader.skipPast("Find the open PR for this bug using ");
    goal.prURL = urlOrNothing(reader.takeUntil(". Inspect the PR description"));
    reader.skipPast("\n4. Use worktree ");
    goal.worktreePath = reader.takeUntil(" under parent directory ");
    goal.worktreeRoot = reader.takeUntil(". Use the existing PR branch");
    reader.skipPast("if you must create a branch, use ");
    goal.branch = reader.takeUntil(". The 8-character bug id ");
    readClosing(reader, goal);
    return goal;
}

}  // namespace

bool isGoalCommand(std::string_view text) {
    return text.starts_with(goalCommand);
}

std::optional<Goal> parseGoal(std::string_view text) {
    PhraseReader reader(text);
    Goal goal;
    const std::string_view objective = trimmed(text.substr(std::min(text.size(), goalCommand.size())));
    if (objective.starts_with("1. First, before reading or acting on the bug,")) {
        goal = readFix(reader);
    } else if (objective.starts_with("1. This is an in-review follow-up.")) {
        goal = readFollowup(reader);
    } else {
        return std::nullopt;
    }
    return reader.failed() ? std::nullopt : std::optional(goal);
}

}  // namespace quernlight::standin::codex
