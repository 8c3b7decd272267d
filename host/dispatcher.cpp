#include "host/dispatcher.hpp"

#include <boost/asio/error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/intake/bug_source.hpp"
#include "host/item_event.hpp"
#include "host/processes/session_tree.hpp"
#include "host/start_request.hpp"
#include "host/user_error.hpp"
#include "quernlight/platform/available_memory.hpp"
#include "quernlight/platform/spawn_logged.hpp"
#include "quernlight/runner/runner_error.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds heartbeatInterval{250};
constexpr std::chrono::seconds settingsInterval{1};
constexpr std::chrono::seconds settlingPause{3};

Task<void> killSession(CodexRunner& runner, Uuid sessionID) {
    try {
        co_await runner.terminate(sessionID, TerminationMode::kill);
    } catch (const RunnerError&) {
        // It has ended by itself.
    }
}

Task<void> sleepFor(std::chrono::milliseconds time) {
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor);
    timer.expires_after(time);
    co_await timer.async_wait(boost::asio::use_awaitable);
}

bool isCancellation(const boost::system::system_error& error) {
    return error.code() == boost::asio::error::operation_aborted;
}

std::string diskTrouble(const DatabaseError& error) {
    return std::string("The queue cannot be read or written at the moment (") + error.what() +
           "); it is tried again. Free some disk space if the disk is full.";
}

}  // namespace

Dispatcher::Dispatcher(SessionServices& services, LiveSettings& settings, DispatcherSettings options)
    : services_(services),
      settings_(settings),
      options_(options),
      intake_(services, options.scope, options.fetchLimit,
              [this](const Uuid& itemID) { return isBusy(itemID); }),
      recovery_(services),
      retirement_(services, [this](const Uuid& itemID) { return isBusy(itemID); }),
      events_(services.store, services.board) {}

Task<void> Dispatcher::run() {
    executor_ = co_await boost::asio::this_coro::executor;
    co_await services_.manager.bootstrap();
    co_await events_.skipToEnd();
    co_await findInterrupted();
    co_await releaseMappedItems();
    co_await showQueue();
    changed_.notify();
    std::vector<std::unique_ptr<ChildTask>> chores;
    const auto begin = [&](const char* name, Task<void> chore) {
        chores.push_back(std::make_unique<ChildTask>(executor_, name, std::move(chore)));
    };
    begin("looking after settings and memory", heartbeat());
    begin("settling interrupted bugs", settleInterrupted());
    begin("taking bugs in", takeBugsIn());
    begin("retiring merged bugs", retireRepeatedly());
    try {
        co_await startSessionsUntilDone();
    } catch (...) {
        endWith(std::current_exception());
    }
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

/// What waiting does not mend ends the program, but only after the sessions that run have been stopped.
void Dispatcher::endWith(std::exception_ptr failure) {
    failure_ = std::move(failure);
    stop();
}

/// Notices what nobody tells: new events, changed settings, memory that is free again.
Task<void> Dispatcher::heartbeat() {
    auto nextSettings = steady_clock::now();
    while (true) {
        try {
            co_await events_.showNew();
            if (steady_clock::now() >= nextSettings) {
                for (const std::string& news : co_await settings_.refresh()) {
                    services_.board.noteOnce(news);
                }
                nextSettings = steady_clock::now() + settingsInterval;
                changed_.notify();
            }
        } catch (const DatabaseError& error) {
            services_.board.noteOnce(diskTrouble(error));
        }
        co_await sleepFor(heartbeatInterval);
    }
}

Task<void> Dispatcher::findInterrupted() {
    for (BugQueueItem& item : co_await recovery_.interruptedItems()) {
        const Uuid itemID = item.id;
        unsettled_.emplace(itemID, std::move(item));
    }
    const auto count = unsettled_.size();
    if (count > 0) {
        services_.board.note(std::to_string(count) + (count == 1 ? " session was" : " sessions were") +
                             " interrupted when the dispatcher last ended; settling.");
        settlingWanted_.notify();
    }
}

Task<void> Dispatcher::settleInterrupted() {
    while (true) {
        if (unsettled_.empty()) {
            co_await settlingWanted_.wait();
        }
        co_await settleOnce();
        changed_.notify();
        if (!unsettled_.empty()) {
            co_await sleepFor(settlingPause);
        }
    }
}

Task<void> Dispatcher::settleOnce() {
    const auto waiting = unsettled_;
    for (const auto& [itemID, item] : waiting) {
        const auto current = co_await services_.store.items.item(itemID);
        std::string trouble;
        try {
            if (current) {
                trouble = co_await recovery_.settle(*current);
            }
        } catch (const DatabaseError& error) {
            trouble = diskTrouble(error);
        } catch (const boost::system::system_error& error) {
            if (isCancellation(error)) {
                throw;
            }
            trouble = error.what();
        } catch (const std::exception& error) {
            trouble = error.what();
        }
        services_.board.condition("settling " + item.bugID,
                                  trouble.empty() ? "" : "Bug " + item.bugID + " waits: " + trouble);
        if (trouble.empty()) {
            unsettled_.erase(itemID);
            const auto settled = co_await services_.store.items.item(itemID);
            if (settled && !isTerminal(settled->status)) {
                services_.board.show(waitingProgress(*settled));
            }
        }
    }
    if (options_.once && !unsettled_.empty() && !services_.health.isWell()) {
        endWith(std::make_exception_ptr(
            UserError("The backend cannot be asked about interrupted bugs: " + services_.health.trouble())));
    }
}

Task<void> Dispatcher::releaseMappedItems() {
    for (const AppMapping& mapping : co_await services_.store.mappings.allMappings()) {
        co_await services_.manager.releaseWaitingItems(mapping.bundleID);
    }
}

Task<void> Dispatcher::showQueue() {
    for (const BugQueueItem& item : co_await services_.store.items.items()) {
        if (!isReorderLocked(item.status)) {
            services_.board.show(waitingProgress(item));
        }
    }
}

Task<void> Dispatcher::takeBugsIn() {
    do {
        co_await takeInOnce();
        changed_.notify();
        intakeEnded_ = options_.once;
        if (!options_.once) {
            co_await pauseFor(&Settings::pollBugsSeconds);
        }
    } while (!options_.once && !stopping_);
}

Task<void> Dispatcher::takeInOnce() {
    try {
        co_return co_await intake_.takeIn();
    } catch (const BackendUnavailable& error) {
        if (options_.once) {
            endWith(std::make_exception_ptr(UserError(error.what())));
        }
        services_.health.failed(error.what());
    } catch (const DatabaseError& error) {
        if (options_.once) {
            endWith(std::current_exception());
        }
        services_.board.noteOnce(diskTrouble(error));
    } catch (const boost::system::system_error& error) {
        if (isCancellation(error)) {
            throw;
        }
        endWith(std::current_exception());
    } catch (const std::exception&) {
        endWith(std::current_exception());
    }
}

Task<void> Dispatcher::retireRepeatedly() {
    while (!options_.once) {
        try {
            co_await retirement_.retireMerged();
        } catch (const DatabaseError& error) {
            services_.board.noteOnce(diskTrouble(error));
        }
        co_await pauseFor(&Settings::pollMergeSeconds);
    }
}

/// In short steps, so that a changed setting counts for the pause that has begun.
Task<void> Dispatcher::pauseFor(double Settings::*seconds) {
    const auto begun = steady_clock::now();
    const auto rest = [&] {
        return begun + std::chrono::duration<double>(services_.settings.*seconds) - steady_clock::now();
    };
    while (rest() > rest().zero()) {
        const auto step = std::min<std::chrono::duration<double>>(rest(), settingsInterval);
        co_await sleepFor(std::chrono::ceil<std::chrono::milliseconds>(step));
    }
}

bool Dispatcher::isBusy(const Uuid& itemID) const {
    return sessions_.contains(itemID) || unsettled_.contains(itemID) || retirement_.isRetiring(itemID);
}

/// Starts what waits, in list order, as long as there are places. An item that has a session is never started
/// again.
Task<void> Dispatcher::fillFreePlaces() {
    for (BugQueueItem& item : co_await services_.store.items.items()) {
        if (stopping_ || std::ssize(sessions_) >= services_.settings.maxSessions) {
            co_return;
        }
        const bool startable = co_await mayStart(item);
        if (startable && memoryIsShort()) {
            co_return;
        }
        if (startable) {
            co_await start(std::move(item));
        }
    }
}

Task<bool> Dispatcher::mayStart(BugQueueItem item) {
    if (item.status != QueueItemStatus::queued || isBusy(item.id)) {
        co_return false;
    }
    const bool wanted = co_await isWanted(item);
    if (!wanted) {
        co_return false;
    }
    const std::string reason = co_await hindrance(item);
    services_.board.condition("starting " + item.bugID,
                              reason.empty() ? "" : "Bug " + item.bugID + " waits: " + reason);
    co_return reason.empty();
}

/// Items of the manual queue wait until a person starts them.
Task<bool> Dispatcher::isWanted(BugQueueItem item) const {
    if (item.queueMode == QueueMode::automatic) {
        co_return true;
    }
    co_return startIsRequested(co_await services_.store.items.events(item.id));
}

/// Why it would not be safe to start in the bug's worktree now; empty when it is.
Task<std::string> Dispatcher::hindrance(BugQueueItem item) const {
    const auto attempt = co_await services_.store.attempts.latestAttempt(item.id);
    const auto sessionID = attempt ? parseUuid(attempt->completionMarker) : std::nullopt;
    if (!sessionID) {
        co_return "";
    }
    const auto alive = SessionTree(*sessionID).alive();
    if (alive.empty()) {
        co_return "";
    }
    co_return "process " + std::to_string(alive.front().pid) +
        " of its earlier session still runs in its worktree.";
}

bool Dispatcher::memoryIsShort() {
    constexpr std::uint64_t mebibyte = 1024 * 1024;
    const auto available = availableMemory();
    const auto floor = static_cast<std::uint64_t>(services_.settings.memoryFloorMiB);
    const bool isShort = available && *available / mebibyte < floor;
    services_.board.condition("memory", isShort ? "No session is started while less than " +
                                                      std::to_string(floor) + " MiB of memory are available."
                                                : "");
    return isShort;
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

/// What a session could not store of its end is settled as after a crash.
Task<void> Dispatcher::runSession(std::shared_ptr<BugSession> session, Uuid itemID) {
    std::exception_ptr failure;
    try {
        co_await session->travel();
    } catch (const DatabaseError& error) {
        failure = std::current_exception();
        services_.board.noteOnce(diskTrouble(error));
    } catch (...) {
        failure = std::current_exception();
    }
    sessions_.erase(itemID);
    if (failure) {
        unsettled_.emplace(itemID, session->item());
        settlingWanted_.notify();
    }
    changed_.notify();
}

Task<bool> Dispatcher::idle() {
    if (!sessions_.empty() || !unsettled_.empty()) {
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

Task<void> Dispatcher::nameWaitingItems() {
    for (const BugQueueItem& item : co_await services_.store.items.items()) {
        if (item.status == QueueItemStatus::waitingForMapping) {
            services_.board.note("Bug " + item.bugID + " (" + item.appName +
                                 ") waits for a repository: quernlight-dispatch map set --bundle " +
                                 item.bundleID + " --app \"" + item.appName + "\" --repo PATH");
        }
    }
}

}  // namespace quernlight::host
