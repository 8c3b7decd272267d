#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "host/service/observation_operations.hpp"
#include "host/text/table.hpp"

namespace quernlight::host {

// The queue for people. Nothing in these texts acts on a terminal.

/// Which items of the queue are listed.
struct QueueFilter {
    bool all = false;                     ///< also those in review, and cancelled ones
    std::string app{};                    ///< by name, in any case; empty: every app
    std::optional<SessionStage> stage{};  ///< absent: every stage
};

/// Those that need a person first, then by queue and position.
std::vector<QueueEntry> filtered(std::vector<QueueEntry> entries, const QueueFilter& filter);

/// What asking to have a bug's session stopped has come to; `changed` is the bug after it.
std::string stopSentence(const QueueEntry& changed);

Table queueTable(const std::vector<QueueEntry>& entries, Instant now);

/// How many the filter left out, in one line that says how to see them; empty when it left out none.
std::string leftOutText(const std::vector<QueueEntry>& entries, const QueueFilter& filter);

/// "queued", or "queued (manual)".
std::string stageInQueue(const QueueEntry& entry);

/// That a bug is to be held or cancelled only once it is known what its last session has come to; empty when
/// the action has been done.
std::string pendingWish(QueueAction action, const QueueEntry& changed);

/// What a person does next with a bug, in one sentence; empty when nothing has to be done.
std::string nextAction(const BugQueueItem& item, SessionStage stage);

/// All that is known of a bug in the queue, as lines of "name: text".
std::string itemText(const QueueItemDetails& details, const std::optional<ReviewItem>& review, Instant now,
                     std::chrono::seconds offset);

/// An item's history, oldest first.
Table historyTable(const std::vector<QueueEvent>& history, Instant now, std::chrono::seconds offset);

}  // namespace quernlight::host
