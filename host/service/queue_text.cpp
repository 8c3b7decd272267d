#include "host/service/queue_text.hpp"

#include <algorithm>
#include <iterator>

#include "host/dispatcher/unmapped_bugs.hpp"
#include "host/events/history_look.hpp"
#include "host/events/session_stage.hpp"
#include "host/text/detail_line.hpp"
#include "host/text/relative_time.hpp"
#include "host/text/shell_text.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

bool isSettled(SessionStage stage) {
    return stage == SessionStage::inReview || stage == SessionStage::cancelled;
}

bool fits(const QueueEntry& entry, const QueueFilter& filter) {
    const bool isShown = filter.all || filter.stage || !isSettled(entry.stage);
    const bool isOfApp = filter.app.empty() || lowercased(entry.item.appName) == lowercased(filter.app);
    return isShown && isOfApp && (!filter.stage || *filter.stage == entry.stage);
}

std::string command(const std::string& words, const BugQueueItem& item) {
    return "quernlight-dispatch " + words + " " + shellQuoted(item.bugID);
}

std::string timeText(const std::optional<Instant>& instant, Instant now, std::chrono::seconds offset) {
    return instant ? localTime(*instant, now, offset) + " (" + timeAgo(*instant, now) + ")" : "";
}

std::string attemptText(const SessionAttemptRecord& attempt, Instant now, std::chrono::seconds offset) {
    return detailLine(
               "attempt",
               std::to_string(attempt.attemptNumber) + ", " + std::string(rawValue(attempt.state)) +
                   ", since " + timeText(attempt.startedAt, now, offset) +
                   (attempt.exitCode ? ", ended with code " + std::to_string(*attempt.exitCode) : "")) +
           detailLine("worktree", attempt.agentWorkspacePath.value_or("")) +
           detailLine("transcript", attempt.transcriptTextPath);
}

}  // namespace

std::vector<QueueEntry> filtered(std::vector<QueueEntry> entries, const QueueFilter& filter) {
    std::erase_if(entries, [&](const QueueEntry& entry) { return !fits(entry, filter); });
    std::vector<QueueEntry> ordered;
    for (const bool first : {true, false}) {
        std::ranges::copy_if(entries, std::back_inserter(ordered), [first](const QueueEntry& entry) {
            return needsAttention(entry.stage) == first;
        });
    }
    return ordered;
}

std::string stageInQueue(const QueueEntry& entry) {
    const bool isHeld = entry.item.queueMode == QueueMode::manual && entry.stage != SessionStage::needsStart;
    return std::string(statusText(entry.stage)) + (isHeld ? " (manual)" : "");
}

std::string pendingWish(QueueAction action, const QueueEntry& changed) {
    const bool isDone = action == QueueAction::cancel ? changed.item.status == QueueItemStatus::cancelled
                                                      : changed.item.queueMode == QueueMode::manual &&
                                                            !isReorderLocked(changed.item.status);
    if (!isWish(action) || isDone || isTerminal(changed.item.status)) {
        return "";
    }
    return std::string("to be ") + (action == QueueAction::cancel ? "cancelled" : "held") +
           " once the backend has told what its last session has come to; the dispatcher asks before it starts "
           "anything";
}

std::string stopSentence(const QueueEntry& changed) {
    const std::string goesOn =
        "it goes on in the same conversation with: " + command("sessions resume", changed.item);
    if (isRunning(changed.stage)) {
        return "its agent is being stopped; then the bug is held, until " + goesOn;
    }
    const std::string pending = pendingWish(QueueAction::moveToManual, changed);
    if (!pending.empty()) {
        return pending;
    }
    if (changed.item.queueMode == QueueMode::manual && !isTerminal(changed.item.status)) {
        return stageInQueue(changed) + "; " + goesOn;
    }
    const std::string next = nextAction(changed.item, changed.stage);
    return stageInQueue(changed) + "; its session had ended before, so there was nothing to stop" +
           (next.empty() ? "" : "; " + next);
}

Table queueTable(const std::vector<QueueEntry>& entries, Instant now) {
    Table table({"BUG", "APP", "STATE", "ADDED", flexible("TITLE")});
    for (const QueueEntry& entry : entries) {
        const BugQueueItem& item = entry.item;
        const auto style = needsAttention(entry.stage) ? CellEmphasis::attention : CellEmphasis::normal;
        table.add({item.bugID,
                   item.appName,
                   {stageInQueue(entry), style},
                   {timeAgo(item.addedAt, now), CellEmphasis::dim},
                   item.title + (item.errorMessage ? ": " + *item.errorMessage : "")});
    }
    return table;
}

std::string leftOutText(const std::vector<QueueEntry>& entries, const QueueFilter& filter) {
    const auto count = [&](SessionStage stage) {
        return std::ranges::count_if(
            entries, [&](const QueueEntry& entry) { return entry.stage == stage && !fits(entry, filter); });
    };
    const auto inReview = count(SessionStage::inReview);
    const auto cancelled = count(SessionStage::cancelled);
    if (filter.all || filter.stage || (inReview == 0 && cancelled == 0)) {
        return "";
    }
    return (inReview > 0 ? std::to_string(inReview) + " in review" : "") +
           (inReview > 0 && cancelled > 0 ? ", " : "") +
           (cancelled > 0 ? std::to_string(cancelled) + " cancelled" : "") +
           "; see: quernlight-dispatch queue list --all\n";
}

std::string nextAction(const BugQueueItem& item, SessionStage stage) {
    switch (stage) {
        case SessionStage::needsMapping:
            return "say where its app's repository is: " + commandToMap(item);
        case SessionStage::needsStart:
            return "start it: " + command("queue start", item);
        case SessionStage::needsPerson:
            return "answer it at its agent's terminal: " + command("sessions attach", item);
        case SessionStage::needsReply:
            return "answer it: " + command("answer", item) + " TEXT";
        case SessionStage::inReview:
            return "review and merge its pull request; the bug then leaves the queue by itself";
        case SessionStage::failed:
        case SessionStage::cancelled:
            return "have it worked on again: " + command("queue retry", item);
        default:
            return "";
    }
}

std::string itemText(const QueueItemDetails& details, const std::optional<ReviewItem>& review, Instant now,
                     std::chrono::seconds offset) {
    const BugQueueItem& item = details.item;
    const QueueEntry entry{.item = item, .stage = details.stage};
    const bool isStarted = !details.attempts.empty();
    return detailLine("bug", item.bugID + "  " + item.title) +
           detailLine("app", item.appName + " (" + item.bundleID + ")") +
           detailLine("state", stageInQueue(entry)) +
           detailLine("waits", details.waits ? sentenceOf(*details.waits) : "") +
           detailLine("question", questionOf(details.history, details.stage)) +
           detailLine("error", item.errorMessage.value_or("")) +
           detailLine("added", timeText(item.addedAt, now, offset)) +
           detailLine("branch", isStarted ? WorktreeNaming::branchName(item.appName, item.bugID) : "") +
           detailLine("pull request", review && review->pullRequest ? review->pullRequest->text() : "") +
           (isStarted ? attemptText(details.attempts.back(), now, offset) : "") +
           detailLine("conversation", item.codexSessionID ? lowerCaseText(*item.codexSessionID) : "") +
           detailLine("page", item.bugURL.text()) + detailLine("next", nextAction(item, details.stage));
}

Table historyTable(const std::vector<QueueEvent>& history, Instant now, std::chrono::seconds offset) {
    Table table({"TIME", "EVENT", flexible("WHAT HAPPENED")});
    for (const QueueEvent& event : history) {
        table.add({localTime(event.createdAt, now, offset), event.kind, event.message});
    }
    return table;
}

}  // namespace quernlight::host
