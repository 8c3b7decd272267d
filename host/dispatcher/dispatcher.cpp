#include "host/dispatcher/dispatcher.hpp"

#include <boost/asio/this_coro.hpp>

#include "host/process/user_error.hpp"
#include "host/text/shell_text.hpp"
#include "host/worktree/resolved_mapping.hpp"
#include "quernlight/platform/control_characters.hpp"

namespace quernlight::host {
namespace {

bool needsPerson(const BugQueueItem& item) {
    return item.status == QueueItemStatus::failed || item.status == QueueItemStatus::awaitingUserInput;
}

/// What a person types to map the item's app. A name that is too long to be typed is left to them.
std::string commandToMap(const BugQueueItem& item) {
    constexpr std::size_t mostTyped = 200;
    const auto option = [](const std::string& name, const std::string& value, const char* placeholder) {
        return value.size() > mostTyped ? name + " " + placeholder : shellOption(name, value);
    };
    return "quernlight-dispatch map set " + option("--bundle", item.bundleID, "BUNDLE") + " " +
           option("--app", item.appName, "NAME") + " --repo PATH";
}

}  // namespace

Dispatcher::Dispatcher(SessionServices& services, LiveSettings& settings, DispatcherSettings options)
    : services_(services),
      settings_(settings),
      options_(options),
      intake_(services, options.scope, options.fetchLimit,
              [this](const Uuid& itemID) { return isBusy(itemID); }),
      recovery_(services),
      retirement_(services, intake_.listed(), [this](const Uuid& itemID) { return isBusy(itemID); }),
      events_(services.store, services.board) {}

Task<void> Dispatcher::run() {
    executor_ = co_await boost::asio::this_coro::executor;
    co_await services_.manager.bootstrap();
    co_await events_.begin();
    co_await endOrphans();
    co_await findInterrupted();
    co_await releaseMappedItems();
    co_await showQueue();
    changed_.notify();
    std::vector<std::unique_ptr<ChildTask>> chores;
    const auto begin = [&](const char* name, Task<void> chore) {
        chores.push_back(std::make_unique<ChildTask>(executor_, name, endingAllWithIt(std::move(chore))));
    };
    begin("looking after settings and memory", heartbeat());
    begin("watching the clocks", watchClocks());
    begin("settling interrupted bugs", reconcileInterrupted());
    begin("taking bugs in", takeBugsIn());
    begin("retiring merged bugs", retireRepeatedly());
    co_await startSessionsUntilDone();
    while (!sessions_.empty()) {
        co_await changed_.wait();
    }
    for (const auto& chore : chores) {
        co_await chore->end();
    }
    co_await events_.showNew();
    if (failure_) {
        std::rethrow_exception(failure_);
    }
    if (unstoredEnds_ > 0) {
        throw UserError(
            "The queue could not be written while the sessions were stopped; the next start settles "
            "what became of " +
            std::to_string(unstoredEnds_) + " of them.");
    }
    co_await nameWaitingItems();
}

Task<void> Dispatcher::startSessionsUntilDone() {
    while (!done_ && !stopping_) {
        co_await changed_.wait();
        co_await troubleIn(startOrEnd());
    }
}

Task<void> Dispatcher::startOrEnd() {
    const bool noneComes = intakeEnded_;  // before the looks, for they take their time
    co_await endUnusedPauses();
    co_await fillFreePlaces();
    const bool nothingWaits = co_await idle();
    done_ = noneComes && nothingWaits;
    if (done_) {
        co_await tellWhatWasNotStarted();
    }
}

/// What cannot be stored because another program has the queue locked is settled by the next start.
void Dispatcher::stop() {
    constexpr std::chrono::milliseconds timeout{250};
    stopping_ = true;
    services_.store.database->setLockWait(timeout);
    services_.stop.raise(StopLevel::stop);
    changed_.notify();
}

void Dispatcher::kill() {
    services_.stop.raise(StopLevel::kill);
}

/// What waiting does not mend ends the program, but only after the sessions that run have been stopped.
void Dispatcher::endWith(std::exception_ptr failure) {
    failure_ = std::move(failure);
    stop();
}

Task<void> Dispatcher::releaseMappedItems() {
    for (const AppMapping& mapping : co_await services_.store.mappings.allMappings()) {
        co_await services_.manager.releaseWaitingItems(mapping.bundleID);
    }
}

Task<void> Dispatcher::showQueue() {
    for (const BugQueueItem& item : co_await services_.store.items.items(wholeQueue)) {
        if (!isTerminal(item.status) || needsPerson(item)) {
            services_.board.show(restingProgress(item));
        }
    }
}

bool Dispatcher::isBusy(const Uuid& itemID) const {
    return sessions_.contains(itemID) || unreconciled_.contains(itemID) || retirement_.isRetiring(itemID);
}

Task<bool> Dispatcher::idle() {
    forgetRested();
    if (!sessions_.empty() || !unreconciled_.empty() || !resting_.empty()) {
        co_return false;
    }
    for (const BugQueueItem& item : co_await services_.store.items.items()) {
        const bool startable = co_await mayStart(item);
        if (startable) {
            co_return false;
        }
    }
    co_return true;
}

Task<void> Dispatcher::tellWhatWasNotStarted() {
    int count = 0;
    std::string cause;
    for (const BugQueueItem& item : co_await services_.store.items.items()) {
        const auto mapping = co_await services_.store.mappings.mapping(item.bundleID);
        const bool wanted = co_await isWanted(item);
        const bool waits = item.status == QueueItemStatus::queued && wanted && mapping;
        const auto trouble =
            waits ? services_.startPauses.trouble(resolved(*mapping).repoPath) : std::nullopt;
        count += trouble ? 1 : 0;
        cause = trouble && cause.empty() ? *trouble : cause;
    }
    if (count > 0) {
        endWith(std::make_exception_ptr(UserError(std::to_string(count) + (count == 1 ? " bug" : " bugs") +
                                                  " could not be started: " + cause)));
    }
}

Task<void> Dispatcher::nameWaitingItems() {
    for (const BugQueueItem& item : co_await services_.store.items.items()) {
        if (item.status == QueueItemStatus::waitingForMapping) {
            services_.board.note("Bug " + item.bugID + " (" + escapedLine(item.appName, 80) +
                                 ") waits for a repository: " + commandToMap(item));
        }
    }
}

}  // namespace quernlight::host
