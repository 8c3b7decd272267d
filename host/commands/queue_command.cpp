#include "host/commands/queue_command.hpp"

#include <iomanip>
#include <iostream>

#include "host/commands/terminal_question.hpp"
#include "host/dispatcher/fact_gatherer.hpp"
#include "host/events/item_history.hpp"
#include "host/process/dispatch_home.hpp"
#include "host/process/event_loop.hpp"
#include "host/process/home_lock.hpp"
#include "host/process/user_error.hpp"
#include "host/recovery/recovery_step.hpp"
#include "host/service/queue_refusal.hpp"
#include "host/store/dispatch_store.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {
namespace {

bool needsPerson(const BugQueueItem& item) {
    return item.status == QueueItemStatus::failed || item.status == QueueItemStatus::awaitingUserInput ||
           item.status == QueueItemStatus::waitingForMapping;
}

std::string describe(const BugQueueItem& item) {
    const std::string queue = item.queueMode == QueueMode::manual ? " (manual)" : "";
    return fitted(item.bugID, 8) + "  " + fitted(item.appName, 12) + "  " +
           fitted(std::string(rawValue(item.status)) + queue, 20) + "  " +
           withoutControls(item.errorMessage.value_or(item.title));
}

Task<void> list(std::filesystem::path home) {
    const DispatchStore store = co_await DispatchStore::openForReading(std::move(home));
    const auto items = co_await store.items.items(wholeQueue);
    for (const bool forPerson : {true, false}) {
        for (const BugQueueItem& item : items) {
            std::cout << (needsPerson(item) == forPerson ? describe(item) + "\n" : "");
        }
    }
    if (items.empty()) {
        std::cout << "The queue is empty; bugs come in with: quernlight-dispatch run\n";
    }
    std::cout.flush();
}

std::string describe(const RetiredBug& bug) {
    const std::string kept = bug.preservedReference ? "; work kept at " + *bug.preservedReference : "";
    return "Bug " + bug.bugID + " (" + withoutControls(bug.title) + ") left the queue at " +
           formatInstant(bug.retiredAt) + ": it is merged" + kept + ".";
}

Task<BugQueueItem> itemOf(DispatchStore store, std::string bugID) {
    const auto item = co_await store.items.item(std::string_view(bugID));
    const auto retired = co_await store.retired.bug(bugID);
    if (!item && retired) {
        throw UserError(describe(*retired));
    }
    if (!item) {
        throw UserError("Bug " + bugID + " is not in the queue; see: quernlight-dispatch queue list");
    }
    co_return *item;
}

Task<void> show(DispatchStore store, BugQueueItem item) {
    std::cout << describe(item) << "\n" << item.bugURL.text() << "\n";
    for (const QueueEvent& event : co_await store.items.events(item.id)) {
        std::cout << "  " << formatInstant(event.createdAt) << "  " << std::left << std::setw(18)
                  << event.kind << " " << withoutControls(event.message) << "\n";
    }
    if (const auto reason = co_await reasonToWait(store, item.id)) {
        std::cout << "waits: " << sentenceOf(*reason) << "\n";
    }
    if (const auto attempt = co_await store.attempts.latestAttempt(item.id)) {
        std::cout << "Attempt " << attempt->attemptNumber << ", transcript: " << attempt->transcriptTextPath
                  << "\n";
    }
    std::cout.flush();
}

[[noreturn]] void refuse(const BugQueueItem& item, const std::string& why) {
    throw UserError("Bug " + item.bugID + " is " + std::string(rawValue(item.status)) + ": " + why);
}

Task<void> requestStart(DispatchStore store, BugQueueItem item) {
    ItemEvent event{
        .itemID = item.id, .kind = EventKind::startRequested, .message = "A person has asked for a start."};
    co_await appendEvent(store.items, std::move(event));
}

/// Items in a live status belong to a session that the next start settles first, and so do items that have
/// ended while their last attempt has not.
Task<void> requireReconciled(DispatchStore store, BugQueueItem item) {
    const auto attempt = co_await store.attempts.latestAttempt(item.id);
    if (isReorderLocked(item.status) || (isTerminal(item.status) && attempt && isOpen(*attempt))) {
        refuse(item, "its session has to be settled first; start the dispatcher once.");
    }
}

Task<void> change(DispatchStore store, BugQueueItem item, QueueAction action) {
    QueueManager manager(store.items, store.mappings, Url());
    co_await requireReconciled(store, item);
    switch (action) {
        case QueueAction::next:
            co_return co_await manager.queueNext(item.id);
        case QueueAction::cancel:
            co_return co_await manager.cancel(item.id);
        case QueueAction::retry:
            co_await manager.retry(item.id, item.goalFlow, std::nullopt);
            co_return;
        case QueueAction::moveToManual:
            co_await manager.move(item.id, QueueMode::manual, std::nullopt);
            co_return;
        case QueueAction::moveToAuto:
            co_await manager.move(item.id, QueueMode::automatic, std::nullopt);
            co_return;
        default:
            co_return;
    }
}

Task<void> showItem(QueueItemOptions options) {
    const DispatchStore store = co_await DispatchStore::openForReading(*options.home);
    BugQueueItem item = co_await itemOf(store, options.bugID);
    co_await show(store, std::move(item));
}

Task<void> act(QueueItemOptions options) {
    const DispatchStore store = co_await DispatchStore::open(FileLocations::databaseURL(*options.home));
    const BugQueueItem item = co_await itemOf(store, options.bugID);
    if (const auto why = refusalOf(options.action, item, options.again)) {
        refuse(item, *why);
    }
    if (options.action == QueueAction::start) {
        co_await requestStart(store, item);
    } else {
        co_await change(store, item, options.action);
    }
    const auto changed = co_await store.items.item(item.id);
    std::cout << describe(changed.value_or(item)) << std::endl;
}

Task<void> lookUp(QueueItemOptions options, std::optional<BugQueueItem>& item) {
    const DispatchStore store = co_await DispatchStore::open(FileLocations::databaseURL(*options.home));
    item = co_await itemOf(store, options.bugID);
}

int statusOf(Task<void> work) {
    boost::asio::io_context io;
    return runUnlessInterrupted(io, std::move(work)) ? 130 : 0;
}

/// Whether a person wants it done; everything but the repetition of finished work goes without saying.
bool isAgreedTo(const QueueItemOptions& options) {
    if (!options.again || options.yes) {
        return true;
    }
    std::optional<BugQueueItem> item;
    const bool isInterrupted = statusOf(lookUp(options, item)) != 0;
    if (isInterrupted || !item || item->status != QueueItemStatus::completed) {
        return !isInterrupted;
    }
    if (!canAsk()) {
        throw UserError("Bug " + item->bugID +
                        " is completed, and there is no terminal to ask on; add --yes to have it worked on "
                        "again.");
    }
    return confirmed("Bug " + item->bugID + " is completed. Work on it again?");
}

}  // namespace

int queueListCommand(const std::optional<std::filesystem::path>& home) {
    return statusOf(list(findDispatchHome(home)));
}

int queueItemCommand(const QueueItemOptions& options) {
    QueueItemOptions located = options;
    located.home = findDispatchHome(options.home);
    if (options.action == QueueAction::show) {
        return statusOf(showItem(std::move(located)));
    }
    const HomeLock lock(*located.home);
    if (!isAgreedTo(located)) {
        std::cout << "Nothing was changed." << std::endl;
        return 1;
    }
    return statusOf(act(std::move(located)));
}

}  // namespace quernlight::host
