#include "host/recovery/recovery.hpp"

#include <algorithm>

#include <boost/system/system_error.hpp>

#include "host/events/item_history.hpp"
#include "host/process/process_metadata.hpp"
#include "host/process/process_tree.hpp"
#include "host/session/sought_report.hpp"
#include "host/store/readable_queue.hpp"
#include "host/text/failure_sentence.hpp"
#include "host/tools/tool_access.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::seconds orphanGrace{2};
constexpr std::chrono::seconds orphanTimeout{5};
constexpr const char* backendIsAway =
    "The backend cannot be asked whether its interrupted session had finished.";

/// The agent's process as the session that started it has recorded it.
std::optional<ProcessEntry> recordedAgent(const std::vector<QueueEvent>& events, const Uuid& sessionID) {
    std::optional<ProcessEntry> agent;
    for (const QueueEvent& event : events) {
        if (isOfKind(event, EventKind::agentStarted) && event.sessionID == sessionID) {
            agent = parseProcessMetadata(event.metadataJSON.value_or(""));
        }
    }
    return agent;
}

/// No session opens with it any more, but it is a secret. One that stays is as dead.
void removeToolSecret(const SessionAttemptRecord& attempt) {
    if (!attempt.transcriptTextPath.empty()) {
        std::error_code ignored;
        const auto directory = std::filesystem::path(attempt.transcriptTextPath).parent_path();
        std::filesystem::remove(toolSecretFile(directory), ignored);
    }
}

}  // namespace

Recovery::Recovery(SessionServices& services)
    : Recovery(Uses{.store = services.store,
                    .manager = services.manager,
                    .clock = services.clock,
                    .health = services.health,
                    .fetchComments = [&services](std::string bugID) {
                        return fetchCommentsInTurn(services.client, services.events,
                                                   services.commentRateLimiter, services.clock,
                                                   std::move(bugID));
                    }}) {}

Task<std::vector<BugQueueItem>> Recovery::interruptedItems() const {
    std::vector<BugQueueItem> interrupted;
    for (BugQueueItem& item : co_await readableItems(uses_.store, wholeQueue)) {
        const bool needsIt = co_await isInterrupted(item);
        if (needsIt) {
            interrupted.push_back(std::move(item));
        }
    }
    co_return interrupted;
}

Task<bool> Recovery::isInterrupted(BugQueueItem item) const {
    const auto attempt = co_await uses_.store.attempts.latestAttempt(item.id);
    if (isReorderLocked(item.status) || (attempt && isOpen(*attempt))) {
        co_return true;
    }
    if (isTerminal(item.status)) {
        co_return false;
    }
    co_return standingWish(co_await uses_.store.items.events(item.id)) != StandingWish::none;
}

Task<std::string> Recovery::reconcile(BugQueueItem item, Interruption cause) const {
    const auto attempt = co_await openAttempt(item);
    auto events = co_await uses_.store.items.events(item.id);
    InterruptedItem interrupted{.status = item.status,
                                .errorMessage = item.errorMessage,
                                .startedAt = item.startedAt,
                                .hasOpenAttempt = attempt.has_value(),
                                .storedReport = storedReport(events, item.startedAt),
                                .cause = std::move(cause)};
    if (attempt) {
        removeToolSecret(*attempt);
        const auto survivors = co_await endOrphans(*attempt, events);
        if (!survivors.empty()) {
            co_return "Process " + std::to_string(survivors.front().pid) +
                " of its earlier session cannot be ended.";
        }
    }
    co_return co_await reconcileWith(std::move(interrupted), std::move(item), attempt, std::move(events));
}

Task<std::string> Recovery::reconcileWith(InterruptedItem interrupted, BugQueueItem item,
                                          std::optional<SessionAttemptRecord> attempt,
                                          std::vector<QueueEvent> events) const {
    RecoveryStep step = recoveryStep(interrupted, std::nullopt);
    if (std::holds_alternative<AskBackend>(step)) {
        if (uses_.clock.steadyNow() < uses_.health.askAgainAt()) {
            co_return backendIsAway;
        }
        std::optional<AgentReport> report;
        try {
            report = co_await askBackend(item, *attempt);
        } catch (const boost::system::system_error&) {
            throw;  // the program ends
        } catch (const std::exception& error) {
            const bool isAway = uses_.health.failed(error);
            co_return isAway ? backendIsAway : "Its comments cannot be read: " + failureSentence(error);
        }
        uses_.health.answered();
        step = recoveryStep(interrupted, report);
    }
    if (const auto* reported = std::get_if<TakeReport>(&step)) {
        co_await take(item, attempt, reported->report);
    } else if (const auto* closing = std::get_if<CloseAttempt>(&step)) {
        co_await close(item, attempt, *closing, events);
    } else if (standingWish(events) != StandingWish::none) {
        co_await grantWish(item.id);
    } else {
        // Its session ended before there was anything to store of it; that this can be stored now is news.
        co_await tellRecovered(item, std::nullopt, interrupted.cause.reason);
    }
    co_return "";
}

/// Of an item that waits: what has ended is not undone. It comes before the end of the attempt, so that a
/// wish whose granting is cut off is found again.
Task<void> Recovery::grantWish(Uuid itemID) const {
    const auto item = co_await uses_.store.items.item(itemID);
    if (!item || isTerminal(item->status)) {
        co_return;
    }
    const StandingWish wish = standingWish(co_await uses_.store.items.events(itemID));
    if (wish == StandingWish::cancel) {
        co_await uses_.manager.cancel(itemID);
    } else if (wish == StandingWish::hold) {
        co_await uses_.manager.move(itemID, QueueMode::manual, std::nullopt);
        ItemEvent event{
            .itemID = itemID, .kind = EventKind::sessionStopped, .message = std::string(stoppedReason)};
        co_await appendEvent(uses_.store.items, std::move(event));
    }
}

/// Of a live item: the attempt of the session that it is live for. Without one no agent was started.
Task<std::optional<SessionAttemptRecord>> Recovery::openAttempt(BugQueueItem item) const {
    auto attempt = co_await uses_.store.attempts.latestAttempt(item.id);
    const bool isOther =
        attempt && item.activeSessionID && attempt->completionMarker != upperCaseText(*item.activeSessionID);
    if (attempt && (!isOpen(*attempt) || (isOther && isReorderLocked(item.status)))) {
        attempt.reset();
    }
    co_return attempt;
}

Task<std::vector<ProcessEntry>> Recovery::endOrphans(SessionAttemptRecord attempt,
                                                     std::vector<QueueEvent> events) const {
    const auto sessionID = parseUuid(attempt.completionMarker);
    if (!sessionID) {
        co_return std::vector<ProcessEntry>{};
    }
    ProcessTree tree(*sessionID);
    const auto recorded = recordedAgent(events, *sessionID);
    if (recorded && isSameProcess(processEntry(recorded->pid), *recorded)) {
        tree.remember(processEntry(recorded->pid));
    }
    co_return co_await tree.end(orphanGrace, orphanTimeout);
}

Task<std::optional<AgentReport>> Recovery::askBackend(BugQueueItem item, SessionAttemptRecord attempt) const {
    const auto sessionID = parseUuid(attempt.completionMarker);
    if (!sessionID) {
        co_return std::nullopt;
    }
    const CompletionPollState state = soughtReport(item, *sessionID, attempt.startedAt);
    const auto comments = co_await uses_.fetchComments(item.bugID);
    const auto found = CompletionDetector::detectOutcome(comments.records, state);
    if (!found) {
        co_return std::nullopt;
    }
    co_return AgentReport{
        .commentID = found->comment.id, .createdAt = found->comment.createdAt, .outcome = found->outcome};
}

/// The item first, as in every ending: if this is interrupted as well, the attempt still says so.
Task<void> Recovery::take(BugQueueItem item, std::optional<SessionAttemptRecord> attempt,
                          AgentReport report) const {
    const bool isActive = !isTerminal(item.status);
    if (isActive && report.outcome == CompletionOutcome::investigate) {
        co_await uses_.manager.markAwaitingUserInput(item.id, report.commentID);
    } else if (isActive) {
        if (item.status != QueueItemStatus::codexCompleted) {
            co_await uses_.manager.markCodexCompleted(item.id, report.commentID);
        }
        co_await uses_.manager.markCompleted(item.id, report.commentID);
    }
    co_await tellRecovered(item, attempt, "The agent had reported before the dispatcher ended.");
    if (attempt) {
        co_await uses_.store.attempts.markCompleted(attempt->id, report.commentID, report.createdAt,
                                                    uses_.clock.now());
    }
}

Task<void> Recovery::close(BugQueueItem item, std::optional<SessionAttemptRecord> attempt, CloseAttempt step,
                           std::vector<QueueEvent> events) const {
    if (step.item == ItemsEnd::goesBack) {
        co_await uses_.manager.markResumable(item.id);
    } else if (step.item == ItemsEnd::fails) {
        co_await uses_.manager.markFailed(item.id, step.reason);
    }
    co_await tellRecovered(item, attempt, step.reason);
    co_await tellUntypedGoal(item, attempt, std::move(events));
    co_await grantWish(item.id);
    if (attempt) {
        co_await uses_.store.attempts.markFailed(attempt->id, step.reason, uses_.clock.now());
    }
}

/// An attempt whose goal was never typed is visible as that, however it ended.
Task<void> Recovery::tellUntypedGoal(BugQueueItem item, std::optional<SessionAttemptRecord> attempt,
                                     std::vector<QueueEvent> events) const {
    const auto sessionID = attempt ? parseUuid(attempt->completionMarker) : std::nullopt;
    const bool isTold = std::any_of(events.begin(), events.end(), [&](const QueueEvent& event) {
        return event.sessionID == sessionID &&
               (isOfKind(event, EventKind::typing) || isOfKind(event, EventKind::goalNotTyped));
    });
    if (!sessionID || isTold) {
        co_return;
    }
    ItemEvent event{.itemID = item.id,
                    .kind = EventKind::goalNotTyped,
                    .message = "The session ended before its goal was typed.",
                    .sessionID = sessionID};
    co_await appendEvent(uses_.store.items, std::move(event));
}

Task<void> Recovery::tellRecovered(BugQueueItem item, std::optional<SessionAttemptRecord> attempt,
                                   std::string sentence) const {
    ItemEvent event{.itemID = item.id,
                    .kind = EventKind::recovered,
                    .message = std::move(sentence),
                    .sessionID = attempt ? parseUuid(attempt->completionMarker) : std::nullopt};
    co_await appendEvent(uses_.store.items, std::move(event));
}

}  // namespace quernlight::host
