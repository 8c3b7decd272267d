#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "host/dispatcher/admission.hpp"
#include "quernlight/queue/bug_queue_item.hpp"
#include "quernlight/queue/session_attempt_repository.hpp"

namespace quernlight::host {

/// What a person may do to an item of the queue.
enum class QueueAction {
    start,         ///< lets an item of the manual queue be started
    next,          ///< puts a waiting item at the head of its queue
    retry,         ///< queues one again that failed, asked or was cancelled
    cancel,        ///< takes it out of its queue; it is remembered
    moveToManual,  ///< moves a waiting item to the manual queue
    moveToAuto,    ///< the same to the automatic queue
    reorder,       ///< puts a waiting item in front of another one, or at the end of its queue
    remove,        ///< forgets it, with its history; it comes in again while it is open at the backend
};

inline constexpr std::array allQueueActions{
    QueueAction::start,        QueueAction::next,       QueueAction::retry,   QueueAction::cancel,
    QueueAction::moveToManual, QueueAction::moveToAuto, QueueAction::reorder, QueueAction::remove};

/// The action's name for programs, and for the command that does it: "hold".
std::string_view nameOf(QueueAction action);

/// What an action on finished work takes. Where the work is not finished it needs neither.
struct Consent {
    bool again = false;      ///< finished work may be done again, of a retry
    bool confirmed = false;  ///< a person has confirmed that
};

/// What is known of the item.
struct QueueActionFacts {
    QueueItemStatus status = QueueItemStatus::queued;
    QueueMode mode = QueueMode::automatic;
    bool hasOpenAttempt = false;     ///< one whose end is not stored
    bool isMapped = true;            ///< its app has a repository
    std::optional<ItemWork> work{};  ///< who works on it; absent where only the home's owner knows
    bool hasAttempts = false;        ///< an agent may have worked on it
};

QueueActionFacts queueActionFacts(const BugQueueItem& item,
                                  const std::optional<SessionAttemptRecord>& latestAttempt, bool isMapped,
                                  std::optional<ItemWork> work = {});

enum class QueueActionVerdict {
    allowed,
    needsConfirmation,    ///< work that was done is touched only when a person has confirmed it
    leftQueue,            ///< there is nothing to cancel
    needsRetry,           ///< work that has ended is begun again by a retry alone
    needsRetryAgain,      ///< the same, and work that was finished only when a person says "again"
    notHeld,              ///< only what waits in the manual queue is started by hand
    needsMapping,         ///< nothing is started whose app has no repository
    agentWorks,           ///< its session runs, and has to be ended first
    isStarted,            ///< its session runs, which is what was asked for
    sessionEnds,          ///< its session is being stopped or retired at this moment
    sessionReconciles,    ///< what its last session has come to is being found out
    sessionUnreconciled,  ///< nobody has found out what its last session has come to
    reconcileFirst,       ///< the same, and that is done now, or by the owner; then it is allowed
};

/// Which action a person may take on an item, and why not: a function of the item's state alone. An item
/// whose last session was interrupted can always be held or cancelled; where its end cannot be found out now,
/// that is a wish, which whoever reconciles it grants.
QueueActionVerdict queueActionVerdict(QueueAction action, const QueueActionFacts& facts,
                                      Consent consent = {});

/// Whether the action can be stored as a wish until the item is reconciled.
bool isWish(QueueAction action);

/// What a verdict that refuses says of the item: one sentence, with the command to use instead.
std::string queueActionSentence(QueueAction action, QueueActionVerdict verdict, const BugQueueItem& item);

}  // namespace quernlight::host
