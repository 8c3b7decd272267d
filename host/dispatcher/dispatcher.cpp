#include "host/dispatcher/dispatcher.hpp"

#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/this_coro.hpp>
#include "host/events/session_stage.hpp"
#include "host/store/readable_queue.hpp"

#include "host/dispatcher/unmapped_bugs.hpp"
#include "host/process/caught_exception.hpp"
#include "host/process/user_error.hpp"

namespace quernlight::host {
Dispatcher::Dispatcher(SessionServices& services, LiveSettings& settings, DispatcherSettings options,
                       SessionFactory makeSession)
    : services_(services),
      context_{.services = services,
               .once = options.once,
               .endProgram = [this](std::exception_ptr failure) { endWith(std::move(failure)); }},
      sessions_(std::move(makeSession),
                [this](const BugQueueItem& item, const std::exception_ptr& failure) {
                    sessionEnded(item, failure);
                }),
      reconciliation_(context_),
      intake_(services, options.scope, options.fetchLimit,
              [this](const Uuid& itemID) { return !isFree(itemID); }),
      retirement_(services, intake_.listed(), [this](const Uuid& itemID) { return !isFree(itemID); }),
      polling_(context_, intake_, retirement_),
      starts_(context_, sessions_, reconciliation_,
              {.on = [this](const Uuid& itemID) { return workOn(itemID); },
               .isNone = [this](const Uuid& itemID) { return isFree(itemID); },
               .areAllClaimed = [this] { return claims_->contains(everyItem); },
               .claimsMade = [this] { return claimsMade_; }}),
      orphans_(context_, sessions_),
      looks_(context_, settings, orphans_),
      atStop_(services.stop.onRise([this] { beginStopping(); })) {
    if (services.stop.isStopping()) {
        beginStopping();
    }
}

Task<void> Dispatcher::run() {
    co_await prepare();
    co_await workUntilAllHasEnded();
    throwFailure();
    co_await nameUnmappedBugs(services_);
}

/// What an earlier run left behind comes first.
Task<void> Dispatcher::prepare() {
    co_await services_.manager.bootstrap();
    co_await orphans_.endGitsOfEarlierOwner();
    co_await reconciliation_.findInterrupted();
    co_await releaseMappedBugs(services_);
    co_await showQueue();
    context_.changed.notify();
}

Task<void> Dispatcher::showQueue() {
    for (const BugQueueItem& item : co_await readableItems(services_.store, wholeQueue)) {
        if (!isTerminal(item.status) || needsAttention(item)) {
            services_.events.progress(restingProgress(item));
        }
    }
}

Task<void> Dispatcher::workUntilAllHasEnded() {
    const auto executor = co_await boost::asio::this_coro::executor;
    std::vector<std::unique_ptr<ChildTask>> chores;
    const auto begin = [&](const char* name, Task<void> chore) {
        chores.push_back(std::make_unique<ChildTask>(executor, name, endingAllWithIt(std::move(chore))));
    };
    begin("looking after settings and memory", looks_.run());
    begin("watching the clocks", looks_.watchClocks());
    begin("reconciling interrupted bugs", reconciliation_.run());
    begin("taking bugs in", takeBugsIn());
    begin("retiring merged bugs", polling_.retireMerged());
    co_await starts_.run();
    while (!sessions_.isEmpty()) {
        co_await context_.changed.wait();
    }
    for (const auto& chore : chores) {
        co_await chore->end();
    }
}

/// A dispatcher that has lost a chore would look well and not be: it ends, and says why.
Task<void> Dispatcher::endingAllWithIt(Task<void> chore) {
    const std::exception_ptr failure = co_await caughtException(std::move(chore));
    const boost::asio::cancellation_state cancellation = co_await boost::asio::this_coro::cancellation_state;
    if (failure && cancellation.cancelled() == boost::asio::cancellation_type::none) {
        endWith(failure);
    }
}

Task<void> Dispatcher::takeBugsIn() {
    co_await polling_.takeBugsIn();
    starts_.endWhenDone();
    context_.changed.notify();
}

/// What a session could not store of its end is reconciled as after a crash.
void Dispatcher::sessionEnded(const BugQueueItem& item, const std::exception_ptr& failure) {
    context_.changed.notify();
    if (!failure) {
        return;
    }
    const Interruption cause = interruptionBy(failure);
    if (!cause.failsItem) {
        services_.events.notice("Bug " + item.bugID + ": " + cause.reason);
        unstoredEnds_ += context_.isStopping() ? 1 : 0;
    }
    starts_.letRest(item.id);
    reconciliation_.add(item, cause);
    handleFailure(context_, failure);
}

/// A session that ends while the wish is being stored may not have seen it.
Task<bool> Dispatcher::stopSession(Uuid itemID) {
    if (!sessions_.contains(itemID)) {
        co_return false;
    }
    ItemEvent wish{.itemID = itemID,
                   .kind = EventKind::holdRequested,
                   .message = "A person has asked that its session is stopped."};
    co_await appendEvent(services_.store.items, std::move(wish));
    const bool isTold = sessions_.stop(itemID);
    const auto item = co_await services_.store.items.item(itemID);
    if (!isTold && item && !isTerminal(item->status)) {
        reconcile(*item);
    }
    co_return true;
}

ItemWork Dispatcher::workOn(const Uuid& itemID) const {
    if (sessions_.contains(itemID)) {
        return ItemWork::session;
    }
    if (reconciliation_.contains(itemID)) {
        return ItemWork::reconciliation;
    }
    return retirement_.isRetiring(itemID) ? ItemWork::retirement : ItemWork::none;
}

bool Dispatcher::isFree(const Uuid& itemID) const {
    return workOn(itemID) == ItemWork::none && !claims_->contains(itemID) && !claims_->contains(everyItem);
}

std::shared_ptr<const void> Dispatcher::claim(const Uuid& itemID) {
    ++claimsMade_;
    const auto release = [claims = std::weak_ptr(claims_), entry = claims_->insert(itemID),
                          changed = context_.changed](const void*) {
        if (const auto live = claims.lock()) {
            live->erase(entry);
            changed.notify();
        }
    };
    return {this, release};
}

void Dispatcher::reconcile(const BugQueueItem& item) {
    if (workOn(item.id) == ItemWork::none) {
        reconciliation_.add(item, {});
    }
}

/// What does not pass by waiting ends the program, but only after the sessions that run have been stopped.
void Dispatcher::endWith(std::exception_ptr failure) {
    if (!failure_) {
        failure_ = std::move(failure);
        services_.stop.raise(StopLevel::stop);
    }
}

/// What cannot be stored because another program has the queue locked is reconciled by the next start.
void Dispatcher::beginStopping() {
    constexpr std::chrono::milliseconds timeout{250};
    services_.store.database->setLockWait(timeout);
    context_.changed.notify();
}

void Dispatcher::throwFailure() const {
    if (failure_) {
        std::rethrow_exception(failure_);
    }
    if (unstoredEnds_ > 0) {
        throw UserError(
            "The queue could not be written while the sessions were stopped; the next start reconciles "
            "what became of " +
            std::to_string(unstoredEnds_) + " of them.");
    }
}

}  // namespace quernlight::host
