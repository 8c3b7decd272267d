#include "host/dispatcher.hpp"

#include <boost/asio/error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/bug_source.hpp"
#include "host/intake.hpp"
#include "host/live_items.hpp"
#include "host/user_error.hpp"
#include "quernlight/platform/spawn_logged.hpp"
#include "quernlight/runner/runner_error.hpp"

namespace quernlight::host {
namespace {

Task<void> killSession(CodexRunner& runner, Uuid sessionID) {
    try {
        co_await runner.terminate(sessionID, TerminationMode::kill);
    } catch (const RunnerError&) {
        // It has ended by itself.
    }
}

}  // namespace

Dispatcher::Dispatcher(SessionServices& services, DispatcherSettings settings)
    : services_(services), settings_(settings) {}

Task<void> Dispatcher::run() {
    executor_ = co_await boost::asio::this_coro::executor;
    co_await services_.manager.bootstrap();
    co_await settleInterrupted();
    co_await releaseMappedItems();
    changed_.notify();
    ChildTask intake(executor_, "taking bugs in", settings_.once ? takeInOnce() : takeInRepeatedly());
    try {
        co_await startSessionsUntilDone();
    } catch (...) {
        failure_ = std::current_exception();
        stop();
    }
    co_await intake.end();
    while (!sessions_.empty()) {
        co_await changed_.wait();
    }
    if (failure_) {
        std::rethrow_exception(failure_);
    }
    co_await nameWaitingItems();
}

Task<void> Dispatcher::startSessionsUntilDone() {
    bool done = false;
    while (!done && !stopping_) {
        co_await changed_.wait();
        co_await fillFreePlaces();
        const bool nothingWaits = co_await idle();
        done = intakeEnded_ && nothingWaits;
    }
}

void Dispatcher::stop() {
    stopping_ = true;
    for (const auto& [itemID, session] : sessions_) {
        session->requestStop();
    }
    changed_.notify();
}

void Dispatcher::kill() {
    for (const auto& [itemID, session] : sessions_) {
        spawnLogged(executor_, "killing a session", killSession(services_.runner, session->sessionID()));
    }
}

Task<void> Dispatcher::settleInterrupted() {
    if (const int settled = co_await settleLiveItems(services_.store, services_.manager); settled > 0) {
        services_.board.note(std::to_string(settled) + (settled == 1 ? " session was" : " sessions were") +
                             " interrupted when the dispatcher last ended; settled.");
    }
}

Task<void> Dispatcher::releaseMappedItems() {
    for (const AppMapping& mapping : co_await services_.store.mappings.allMappings()) {
        co_await services_.manager.releaseWaitingItems(mapping.bundleID);
    }
}

Task<void> Dispatcher::takeInOnce() {
    co_await takeInOrStop();
    intakeEnded_ = true;
    changed_.notify();
}

Task<void> Dispatcher::takeInRepeatedly() {
    boost::asio::steady_timer timer(executor_);
    while (true) {
        co_await takeInOrStop();
        timer.expires_after(settings_.intakeInterval);
        co_await timer.async_wait(boost::asio::use_awaitable);
    }
}

/// What waiting does not mend (a refused token, say) ends the program, but only after the sessions that run
/// have been stopped politely.
Task<void> Dispatcher::takeInOrStop() {
    try {
        co_await takeIn();
    } catch (const boost::system::system_error& error) {
        if (error.code() == boost::asio::error::operation_aborted) {
            throw;
        }
        failure_ = std::current_exception();
    } catch (const std::exception&) {
        failure_ = std::current_exception();
    }
    if (failure_) {
        stop();
    }
}

Task<void> Dispatcher::takeIn() {
    const std::vector<QLBugSummaryDTO> fetched = co_await fetchBugs();
    const IntakeChoice choice =
        chooseIntake(fetched, co_await knownBugIDs(services_.store.items), settings_.fetchLimit);
    for (const std::string& status : choice.cutStatuses) {
        noteOnce(describeCut(status, settings_.fetchLimit));
    }
    for (const std::string& bugID : choice.unusableBugIDs) {
        noteOnce("A bug is left out because its id cannot name a branch: \"" + bugID + "\".");
    }
    co_await enqueue(choice.newBugs);
}

Task<void> Dispatcher::enqueue(std::vector<QLBugSummaryDTO> bugs) {
    for (const QLBugSummaryDTO& bug : bugs) {
        const BugQueueItem item = co_await services_.manager.enqueue(bug, QueueMode::automatic);
        const bool waits = item.status == QueueItemStatus::waitingForMapping;
        services_.board.show({.bugID = item.bugID,
                              .appName = item.appName,
                              .title = item.title,
                              .stage = waits ? "waits for a mapping" : "queued"});
    }
    if (!bugs.empty()) {
        changed_.notify();
    }
}

/// A backend that cannot be reached is said once and asked again at the next interval.
Task<std::vector<QLBugSummaryDTO>> Dispatcher::fetchBugs() {
    std::string trouble;
    try {
        co_return co_await fetchBugsInScope(services_.client, settings_.scope, settings_.fetchLimit);
    } catch (const BackendUnavailable& error) {
        trouble = error.what();
    }
    if (settings_.once) {
        throw UserError(trouble);
    }
    noteOnce(trouble);
    co_return std::vector<QLBugSummaryDTO>{};
}

bool Dispatcher::mayStart(const BugQueueItem& item) const {
    return item.status == QueueItemStatus::queued && !sessions_.contains(item.id) &&
           !unsettled_.contains(item.id);
}

/// Starts what waits, in list order, as long as there are places. An item that has a session is never started
/// again.
Task<void> Dispatcher::fillFreePlaces() {
    for (BugQueueItem& item : co_await services_.store.items.items(autoQueue)) {
        if (stopping_ || std::ssize(sessions_) >= settings_.maxSessions) {
            co_return;
        }
        if (mayStart(item)) {
            co_await start(std::move(item));
        }
    }
}

Task<void> Dispatcher::start(BugQueueItem item) {
    const auto mapping = co_await services_.store.mappings.mapping(item.bundleID);
    if (!mapping) {
        co_return co_await services_.manager.markFailed(
            item.id,
            "The repository mapping of " + item.bundleID + " is gone; set it again with \"map set\".");
    }
    const Uuid itemID = item.id;
    const std::string name = "the session of bug " + item.bugID;
    auto session = std::make_shared<BugSession>(services_, std::move(item), *mapping);
    sessions_.emplace(itemID, session);
    spawnLogged(executor_, name, runSession(std::move(session), itemID));
}

Task<void> Dispatcher::runSession(std::shared_ptr<BugSession> session, Uuid itemID) {
    std::exception_ptr failure;
    try {
        co_await session->travel();
    } catch (...) {
        failure = std::current_exception();
    }
    sessions_.erase(itemID);
    changed_.notify();
    if (failure) {
        unsettled_.insert(itemID);
        std::rethrow_exception(failure);
    }
}

Task<bool> Dispatcher::idle() {
    if (!sessions_.empty()) {
        co_return false;
    }
    for (const BugQueueItem& item : co_await services_.store.items.items(autoQueue)) {
        if (mayStart(item)) {
            co_return false;
        }
    }
    co_return true;
}

Task<void> Dispatcher::nameWaitingItems() {
    for (const BugQueueItem& item : co_await services_.store.items.items()) {
        if (item.status == QueueItemStatus::waitingForMapping) {
            services_.board.note("Bug " + item.bugID + " (" + item.appName +
                                 ") waits for a repository: quernlight-dispatch map set --bundle " +
                                 item.bundleID + " --app \"" + item.appName + "\" --repo PATH");
        }
    }
}

void Dispatcher::noteOnce(const std::string& sentence) {
    if (noted_.insert(sentence).second) {
        services_.board.note(sentence);
    }
}

}  // namespace quernlight::host
