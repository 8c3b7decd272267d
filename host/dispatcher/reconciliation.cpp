#include "host/dispatcher/reconciliation.hpp"

#include "host/health/failure_policy.hpp"
#include "host/process/user_error.hpp"
#include "host/session/comment_poll.hpp"
#include "host/text/counted.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::seconds shortestPause{3};
constexpr std::chrono::seconds step{1};

}  // namespace

Interruption interruptionBy(const std::exception_ptr& failure) {
    const SessionPolicy policy = sessionPolicy(failure);
    return {.reason = reasonToReconcile(policy), .failsItem = policy.kind == FailureKind::reportUnknown};
}

Task<void> Reconciliation::findInterrupted() {
    for (BugQueueItem& item : co_await recovery_.interruptedItems()) {
        const Uuid itemID = item.id;
        if (item.activeSessionID) {
            services_.history.resumeSession(itemID, *item.activeSessionID);
        }
        waiting_.emplace(itemID, Interrupted{.item = std::move(item)});
    }
    const auto count = waiting_.size();
    if (count > 0) {
        services_.events.notice(counted(static_cast<std::int64_t>(count), "session was", "sessions were") +
                                " interrupted when the dispatcher last ended; reconciling.");
        wanted_.notify();
    }
}

void Reconciliation::add(const BugQueueItem& item, const Interruption& cause) {
    BugProgress progress = restingProgress(item);
    progress.stage = SessionStage::toReconcile;
    services_.events.progress(progress);
    waiting_.emplace(item.id, Interrupted{.item = item, .cause = cause});
    wanted_.notify();
}

Task<void> Reconciliation::run() {
    int failures = 0;
    while (true) {
        if (waiting_.empty()) {
            co_await wanted_.wait();
        }
        const auto before = waiting_.size();
        co_await runRound(context_, reconcileAll());
        context_.changed.notify();
        failures = waiting_.size() == before ? failures + 1 : 0;
        if (!waiting_.empty()) {
            co_await pauseAfter(failures);
        }
    }
}

/// Longer after rounds that reconciled nothing, but a session that has just ended does not wait for that.
Task<void> Reconciliation::pauseAfter(int failures) {
    const auto before = waiting_.size();
    const auto end = services_.clock.steadyNow() + pauseBeforePoll(shortestPause, failures, 0);
    while (services_.clock.steadyNow() < end && waiting_.size() == before) {
        co_await services_.clock.sleepFor(step);
    }
}

Task<void> Reconciliation::reconcileAll() {
    if (!services_.homeIsInPlace()) {
        co_return;
    }
    const auto all = waiting_;
    for (const auto& [itemID, interrupted] : all) {
        co_await reconcile(interrupted);
    }
}

Task<void> Reconciliation::reconcile(Interrupted interrupted) {
    const Uuid itemID = interrupted.item.id;
    const auto current = co_await services_.store.items.item(itemID);
    std::string trouble;
    if (current) {
        trouble = co_await recovery_.reconcile(*current, interrupted.cause);
    }
    tellWaiting(interrupted.item.bugID, trouble);
    if (!trouble.empty()) {
        co_return;
    }
    const auto reconciled = co_await services_.store.items.item(itemID);
    bool isWanted = false;  // a person may wish something of it since
    if (reconciled) {
        isWanted = co_await recovery_.isInterrupted(*reconciled);
    }
    if (isWanted) {
        co_return;
    }
    waiting_.erase(itemID);
    if (reconciled) {
        services_.events.progress(restingProgress(*reconciled));
    }
}

void Reconciliation::tellWaiting(const std::string& bugID, const std::string& reason) {
    const std::string sentence = reason.empty() ? "" : "Bug " + bugID + " waits: " + reason;
    services_.events.alert({AlertTopic::reconciling, bugID}, sentence);
    endIfTokenIsRefused(context_);
    if (!sentence.empty() && context_.once) {
        context_.endProgram(std::make_exception_ptr(UserError(sentence)));
    }
}

}  // namespace quernlight::host
