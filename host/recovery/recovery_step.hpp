#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/session/next_step.hpp"
#include "quernlight/dispatch/completion_detector.hpp"
#include "quernlight/queue/bug_queue_item.hpp"
#include "quernlight/queue/session_attempt_repository.hpp"

namespace quernlight::host {

/// Why nobody saw a session to its end.
struct Interruption {
    std::string reason{interruptedReason};  ///< what its attempt has failed for, when it made no report
    bool failsItem = false;                 ///< without a report the item has failed, too
};

/// A comment of the agent that ends a session.
struct AgentReport {
    Uuid commentID{};     ///< nil when it was seen but is no longer to be found
    Instant createdAt{};  ///< when it was seen, where it is no longer known when it was written
    CompletionOutcome outcome = CompletionOutcome::completed;

    bool operator==(const AgentReport&) const = default;
};

/// An item whose last session nobody saw to its end, as it is stored.
struct InterruptedItem {
    QueueItemStatus status = QueueItemStatus::running;
    std::optional<std::string> errorMessage{};
    std::optional<Instant> startedAt{};
    bool hasOpenAttempt = false;                ///< one that is neither completed nor failed
    std::optional<AgentReport> storedReport{};  ///< that the item's events name
    Interruption cause{};
};

/// Only the backend can tell whether the agent reported meanwhile.
struct AskBackend {
    bool operator==(const AskBackend&) const = default;
};

/// Attempt and item end with the report.
struct TakeReport {
    AgentReport report;

    bool operator==(const TakeReport&) const = default;
};

/// What becomes of an item whose attempt is closed.
enum class ItemsEnd {
    staysAsItIs,
    goesBack,  ///< into its queue, to be resumed
    fails,
};

/// The attempt has failed for this reason.
struct CloseAttempt {
    std::string reason;
    ItemsEnd item = ItemsEnd::staysAsItIs;

    bool operator==(const CloseAttempt&) const = default;
};

/// Item and attempt tell the truth already.
struct NothingToReconcile {
    bool operator==(const NothingToReconcile&) const = default;
};

using RecoveryStep = std::variant<NothingToReconcile, AskBackend, TakeReport, CloseAttempt>;

/// What an interrupted item needs. `answer` is absent before the backend was asked; within it, the report
/// that was found, if any. A report that was seen counts: running a finished bug again would do its work
/// twice. An item that was put back into its queue with an open attempt is asked for as well: its dispatcher
/// could not ask before it ended.
RecoveryStep recoveryStep(const InterruptedItem& item,
                          const std::optional<std::optional<AgentReport>>& answer);

/// The report that the latest "codexCompleted", "completed" or "awaitingUserInput" event names, of those
/// written since the item's last start (absent: it has none).
std::optional<AgentReport> storedReport(const std::vector<QueueEvent>& events,
                                        const std::optional<Instant>& startedAt);

/// Whether the attempt's end is still to be stored.
bool isOpen(const SessionAttemptRecord& attempt);

}  // namespace quernlight::host
