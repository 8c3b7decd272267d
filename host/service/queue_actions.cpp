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

QueueActionVerdict verdictOnEnded(QueueAction action, const QueueActionFacts& facts, RetryConsent consent) {
    using enum QueueActionVerdict;
    const bool isFinished = facts.status == QueueItemStatus::completed;
    if (action == QueueAction::cancel) {
        return leftQueue;
    }
    if (action != QueueAction::retry || (isFinished && !consent.again)) {
        return isFinished ? needsRetryAgain : needsRetry;
    }
    if (isFinished && !consent.confirmed) {
        return needsConfirmation;
    }
    return facts.hasOpenAttempt ? sessionUnreconciled : allowed;
}

std::string clause(QueueActionVerdict verdict, const BugQueueItem& item) {
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
            return "its work is done; a person has to confirm that it is worked on again.";
        case notHeld:
            return "only bugs that wait in the manual queue are started by hand; put it there with: " +
                   command("hold", item);
        case needsMapping:
            return "its app has no repository; name one first with: " + commandToMap(item);
        case sessionUnreconciled:
            return "its session has to be reconciled first; start the dispatcher once.";
        case allowed:
            break;
    }
    return "nothing stands against it.";
}

}  // namespace

QueueActionFacts queueActionFacts(const BugQueueItem& item,
                                  const std::optional<SessionAttemptRecord>& latestAttempt, bool isMapped) {
    return {.status = item.status,
            .mode = item.queueMode,
            .hasOpenAttempt = latestAttempt && isOpen(*latestAttempt),
            .isMapped = isMapped};
}

QueueActionVerdict queueActionVerdict(QueueAction action, const QueueActionFacts& facts,
                                      RetryConsent consent) {
    using enum QueueActionVerdict;
    if (isTerminal(facts.status)) {
        return verdictOnEnded(action, facts, consent);
    }
    const bool isUnderWay = isReorderLocked(facts.status);
    if (action == QueueAction::start) {
        const bool isHeld = facts.mode == QueueMode::manual && !isUnderWay;
        return !isHeld ? notHeld : facts.isMapped ? allowed : needsMapping;
    }
    return isUnderWay ? sessionUnreconciled : allowed;
}

std::string queueActionSentence(QueueActionVerdict verdict, const BugQueueItem& item) {
    return "Bug " + item.bugID + " (" + std::string(statusText(item)) + "): " + clause(verdict, item);
}

}  // namespace quernlight::host
