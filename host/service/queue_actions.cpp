#include "host/service/queue_actions.hpp"

#include "host/dispatcher/unmapped_bugs.hpp"
#include "host/events/session_stage.hpp"
#include "host/recovery/recovery_step.hpp"
#include "host/text/shell_text.hpp"

namespace quernlight::host {
namespace {

std::string command(const char* name, const BugQueueItem& item) {
    return std::string("quernlight-dispatch queue ") + name + " " + shellQuoted(item.bugID);
}

/// What an open attempt of an item that waits or has ended means.
QueueActionVerdict openAttempt(const QueueActionFacts& facts) {
    using enum QueueActionVerdict;
    const ItemWork work = facts.work.value_or(ItemWork::none);
    if (work == ItemWork::none) {
        return reconcileFirst;
    }
    return work == ItemWork::reconciliation ? sessionReconciles : sessionEnds;
}

QueueActionVerdict verdictOnEnded(QueueAction action, const QueueActionFacts& facts, Consent consent) {
    using enum QueueActionVerdict;
    const bool isFinished = facts.status == QueueItemStatus::completed;
    if (action == QueueAction::cancel) {
        return leftQueue;
    }
    const bool isPossible = action == QueueAction::remove || action == QueueAction::retry;
    const bool needsWord = action == QueueAction::retry && isFinished && !consent.again;
    if (!isPossible || needsWord) {
        return isFinished ? needsRetryAgain : needsRetry;
    }
    const bool holdsWork = isFinished || (action == QueueAction::remove && facts.hasAttempts);
    if (holdsWork && !consent.confirmed) {
        return needsConfirmation;
    }
    const bool isWorkedOn = facts.work && *facts.work != ItemWork::none;
    return facts.hasOpenAttempt || isWorkedOn ? openAttempt(facts) : allowed;
}

/// Without an owner nobody sees to the session that the item is stored with.
QueueActionVerdict verdictWithoutOwner(QueueAction action) {
    const bool isPossible = isWish(action) || action == QueueAction::retry || action == QueueAction::remove;
    return isPossible ? QueueActionVerdict::reconcileFirst : QueueActionVerdict::sessionUnreconciled;
}

/// The home's owner ends the session of an item that is cancelled.
QueueActionVerdict verdictOnUnderWay(QueueAction action, const QueueActionFacts& facts) {
    using enum QueueActionVerdict;
    if (!facts.work) {
        return verdictWithoutOwner(action);
    }
    if (*facts.work == ItemWork::reconciliation) {
        return isWish(action) ? reconcileFirst : sessionReconciles;
    }
    // What has been reported is never undone.
    const bool hasReported = facts.status == QueueItemStatus::codexCompleted;
    if (*facts.work != ItemWork::session || hasReported) {
        return sessionEnds;
    }
    if (action == QueueAction::start) {
        return isStarted;
    }
    return action == QueueAction::cancel ? allowed : agentWorks;
}

std::string confirmationClause(QueueAction action) {
    return action == QueueAction::remove
               ? "an agent has worked on it; a person has to confirm that it is forgotten."
               : "its work is done; a person has to confirm that it is worked on again.";
}

std::string clause(QueueAction action, QueueActionVerdict verdict, const BugQueueItem& item) {
    using enum QueueActionVerdict;
    switch (verdict) {
        case leftQueue:
            return "it has left its queue already.";
        case needsRetry:
            return "it has left its queue; queue it again with: " + command("retry", item);
        case needsRetryAgain:
            return "its work is done; to have it worked on again all the same: " + command("retry", item) +
                   " --again";
        case needsConfirmation:
            return confirmationClause(action);
        case notHeld:
            return "only bugs that wait in the manual queue are started by hand; put it there with: " +
                   command("hold", item);
        case needsMapping:
            return "its app has no repository; name one first with: " + commandToMap(item);
        case agentWorks:
            return "an agent works on it; stop that first with: quernlight-dispatch sessions stop " +
                   shellQuoted(item.bugID);
        case isStarted:
            return "an agent works on it already; see: quernlight-dispatch sessions show " +
                   shellQuoted(item.bugID);
        case sessionEnds:
            return "its session is just being ended; try again in a moment.";
        case sessionReconciles:
            return "what its last session has come to is being found out; try again once it is known, see: "
                   "quernlight-dispatch status";
        case sessionUnreconciled:
            return "what its last session has come to is not known yet; have that found out, and the bug held, "
                   "with: " +
                   command("hold", item);
        case reconcileFirst:
        case allowed:
            break;
    }
    return "nothing stands against it.";
}

}  // namespace

std::string_view nameOf(QueueAction action) {
    switch (action) {
        case QueueAction::start:
            return "start";
        case QueueAction::next:
            return "next";
        case QueueAction::retry:
            return "retry";
        case QueueAction::cancel:
            return "cancel";
        case QueueAction::moveToManual:
            return "hold";
        case QueueAction::moveToAuto:
            return "release";
        case QueueAction::reorder:
            return "move";
        case QueueAction::remove:
            break;
    }
    return "remove";
}

bool isWish(QueueAction action) {
    return action == QueueAction::cancel || action == QueueAction::moveToManual;
}

QueueActionFacts queueActionFacts(const BugQueueItem& item,
                                  const std::optional<SessionAttemptRecord>& latestAttempt, bool isMapped,
                                  std::optional<ItemWork> work) {
    return {.status = item.status,
            .mode = item.queueMode,
            .hasOpenAttempt = latestAttempt && isOpen(*latestAttempt),
            .isMapped = isMapped,
            .work = work,
            .hasAttempts = latestAttempt.has_value()};
}

QueueActionVerdict queueActionVerdict(QueueAction action, const QueueActionFacts& facts, Consent consent) {
    using enum QueueActionVerdict;
    if (isTerminal(facts.status)) {
        return verdictOnEnded(action, facts, consent);
    }
    const bool isWorkedOn = facts.work && *facts.work != ItemWork::none;
    if (isReorderLocked(facts.status) || isWorkedOn) {
        return verdictOnUnderWay(action, facts);
    }
    if (facts.hasOpenAttempt && action == QueueAction::remove) {
        return openAttempt(facts);
    }
    if (action == QueueAction::start) {
        return facts.mode != QueueMode::manual ? notHeld : facts.isMapped ? allowed : needsMapping;
    }
    const bool losesWork = action == QueueAction::remove && facts.hasAttempts && !consent.confirmed;
    return losesWork ? needsConfirmation : allowed;
}

std::string queueActionSentence(QueueAction action, QueueActionVerdict verdict, const BugQueueItem& item) {
    return "Bug " + item.bugID + " (" + std::string(statusText(item)) + "): " + clause(action, verdict, item);
}

}  // namespace quernlight::host
