#include "host/session/bug_session.hpp"

#include <utility>

#include <boost/asio/this_coro.hpp>

#include "host/health/failure_policy.hpp"
#include "host/process/caught_exception.hpp"
#include "host/worktree/resolved_mapping.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

BugSession::BugSession(SessionServices& services, BugQueueItem item, AppMapping mapping)
    : BugSession(services, outsideOf(services), std::move(item), std::move(mapping)) {}

BugSession::BugSession(SessionServices& services, SessionOutside outside, BugQueueItem item,
                       AppMapping mapping)
    : stop_(services.stop),
      outside_(std::move(outside)),
      state_(std::move(item), resolved(std::move(mapping))),
      log_(state_, services.store, services.disk, services.events),
      agent_({.runner = services.runner,
              .readyPrompts = services.readyPrompts,
              .firstLaunch = services.firstLaunch,
              .tools = services.tools,
              .toolServer = services.toolServer,
              .home = services.home,
              .drawing = services.drawing,
              .screens = services.screens,
              .store = services.store,
              .manager = services.manager,
              .startPauses = services.startPauses,
              .disk = services.disk,
              .stop = services.stop,
              .clock = services.clock,
              .environment = services.environment,
              .settings = services.settings,
              .findGoalRecord = outside_.findGoalRecord},
             state_, log_),
      comments_({.fetch = outside_.fetchComments,
                 .rateLimiter = services.commentRateLimiter,
                 .health = services.health,
                 .settings = services.settings,
                 .events = services.events,
                 .clock = services.clock},
                services.stop, state_, log_),
      preparation_({.home = services.home,
                    .store = services.store,
                    .repositories = services.repositories,
                    .startPauses = services.startPauses,
                    .stop = services.stop,
                    .clock = services.clock,
                    .instructions = services.instructions,
                    .environment = services.environment,
                    .settings = services.settings,
                    .homeIsInPlace = services.homeIsInPlace,
                    .outside = outside_},
                   state_, log_),
      watch_({.store = services.store,
              .manager = services.manager,
              .stop = services.stop,
              .clock = services.clock,
              .runningTime = services.runningTime,
              .settings = services.settings,
              .outside = outside_},
             state_, log_, agent_, comments_),
      end_({.store = services.store,
            .manager = services.manager,
            .startPauses = services.startPauses,
            .stop = services.stop,
            .clock = services.clock,
            .settings = services.settings},
           state_, log_, agent_, comments_),
      atStop_(services.stop.onRise([mailbox = agent_.mailbox()] { mailbox.deliver(StopRequested{}); })) {}

Task<void> BugSession::run() {
    TaskSet tasks(co_await boost::asio::this_coro::executor, reportFailure);
    std::exception_ptr failure = co_await caughtException(runToItsEnd(tasks));
    failure = co_await applyPolicy(failure);
    const std::exception_ptr stopping = co_await caughtException(agent_.stop());
    agent_.endTools();
    co_await tasks.end();
    comments_.end();
    if (failure || stopping) {
        std::rethrow_exception(failure ? failure : stopping);
    }
}

void BugSession::stop() {
    state_.isStopWished = true;
    agent_.mailbox().deliver(StopRequested{});
}

Task<void> BugSession::runToItsEnd(TaskSet& tasks) {
    PreparationResult prepared = co_await preparation_.run();
    auto* ready = std::get_if<SessionReady>(&prepared);
    if (!ready) {
        co_return co_await end_.finish(std::move(prepared));
    }
    co_await agent_.recordAttempt(std::move(ready->goal));
    co_await agent_.awaitTurn();
    if (stop_.isStopping() || state_.isStopWished) {
        co_await agent_.noteUnstarted();
        NextStep interrupted = SessionInterrupted{};
        co_return co_await end_.finish(std::move(interrupted));
    }
    const bool ours = co_await log_.isStillOurs();
    if (!ours) {  // it was cancelled while it was prepared
        co_await agent_.noteUnstarted();
        NextStep superseded = SessionSuperseded{};
        co_return co_await end_.finish(std::move(superseded));
    }
    auto cannotStart = co_await agent_.start(tasks);
    if (cannotStart) {
        co_return co_await end_.putBack(std::move(*cannotStart));
    }
    comments_.beginPolling(tasks, agent_.mailbox());
    log_.show(SessionStage::waitingForPrompt);
    NextStep end = co_await watch_.untilItsEnd();
    co_await end_.finish(std::move(end));
}

/// Does what the failure, if any, asks for, and returns what is left to be told. Work that was seen to be
/// finished is never failed, or put back, for what happens after.
Task<std::exception_ptr> BugSession::applyPolicy(std::exception_ptr failure) {
    for (const FailureKind kind : {FailureKind::shortage, FailureKind::failsBug}) {
        if (!failure || state_.watched.detection) {
            break;
        }
        SessionPolicy policy = sessionPolicy(failure);
        if (policy.kind != kind) {
            continue;
        }
        OutsideFailure outside{.cause = policy.sentence};
        Task<void> ending = kind == FailureKind::shortage ? end_.putBack(std::move(outside))
                                                          : end_.fail(std::move(policy.sentence));
        failure = co_await caughtException(std::move(ending));
    }
    co_return failure;
}

}  // namespace quernlight::host
