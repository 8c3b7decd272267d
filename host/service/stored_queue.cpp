#include <algorithm>

#include "host/dispatcher/fact_gatherer.hpp"
#include "host/dispatcher/start_request.hpp"
#include "host/service/service_error.hpp"
#include "host/service/stored_operations.hpp"
#include "host/store/readable_queue.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/text.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {
namespace {

std::string describe(const RetiredBug& bug) {
    const std::string kept = bug.preservedReference ? "; work kept at " + *bug.preservedReference : "";
    return "Bug " + bug.bugID + " (" + withoutControls(bug.title) + ") left the queue at " +
           formatInstant(bug.retiredAt) + ": it is merged" + kept + ".";
}

ServiceError notInQueue(const std::string& bugID, const std::optional<RetiredBug>& retired) {
    return {ServiceErrorCode::notFound,
            retired ? describe(*retired)
                    : "Bug " + bugID + " is not in the queue; see: quernlight-dispatch queue list"};
}

/// Of an item of the manual queue the history tells whether a start was asked for.
Task<SessionStage> stageIn(DispatchStore store, BugQueueItem item) {
    const SessionStage stage = stageOf(item);
    if (stage != SessionStage::needsStart) {
        co_return stage;
    }
    const auto events = co_await store.items.events(item.id);
    if (!startIsRequested(events)) {
        co_return stage;
    }
    const auto mapping = co_await store.mappings.mapping(item.bundleID);
    co_return mapping ? SessionStage::queued : SessionStage::needsMapping;
}

ServiceError ambiguous(const std::string& bugID, const std::vector<std::string>& fitting) {
    constexpr std::size_t mostNamed = 5;
    std::string named;
    for (std::size_t index = 0; index < std::min(fitting.size(), mostNamed); ++index) {
        named += (index == 0 ? "" : ", ") + fitting[index];
    }
    return {ServiceErrorCode::ambiguous, "Several bugs' ids begin with " + bugID + " (" + named +
                                             (fitting.size() > mostNamed ? ", ..." : "") +
                                             "); give more of the one that you mean."};
}

/// The id in full of the one queued bug whose id begins so; the text itself when there is none.
Task<std::string> completed(DispatchStore store, std::string beginning) {
    std::vector<std::string> fitting;
    const ReadableItems queue = co_await store.items.readableItems(wholeQueue);
    const auto take = [&](const std::string& bugID) {
        if (bugID.starts_with(beginning)) {
            fitting.push_back(bugID);
        }
    };
    for (const BugQueueItem& item : queue.items) {
        take(item.bugID);
    }
    for (const UnreadableItem& row : queue.unreadable) {
        take(row.bugID);
    }
    if (fitting.size() > 1) {
        throw ambiguous(beginning, fitting);
    }
    co_return fitting.empty() ? beginning : fitting.front();
}

/// What cannot be read is not touched either.
Task<std::optional<BugQueueItem>> readableItem(DispatchStore store, std::string bugID) {
    try {
        co_return co_await store.items.item(std::string_view(bugID));
    } catch (const DatabaseError& error) {
        if (error.kind() != DatabaseError::Kind::missingColumn) {
            throw;
        }
        const UnreadableItem row{.bugID = bugID, .trouble = error.what()};
        throw ServiceError(ServiceErrorCode::refused, host::describe(row));
    }
}

Task<QueueItemDetails> detailsOf(DispatchStore store, BugQueueItem item) {
    const auto waits = co_await reasonToWait(store, item.id);
    auto history = co_await store.items.events(item.id);
    auto attempts = co_await store.attempts.attempts(item.id);
    const SessionStage stage = co_await stageIn(store, item);
    co_return QueueItemDetails{.item = std::move(item),
                               .stage = stage,
                               .waits = waits,
                               .history = std::move(history),
                               .attempts = std::move(attempts)};
}

}  // namespace

Task<QueueEntry> queueEntry(DispatchStore store, BugQueueItem item) {
    const SessionStage stage = co_await stageIn(std::move(store), item);
    co_return QueueEntry{.item = std::move(item), .stage = stage};
}

Task<QueueList> queueList(DispatchStore store) {
    ReadableItems read = co_await store.items.readableItems(wholeQueue);
    QueueList list;
    for (BugQueueItem& item : read.items) {
        list.entries.push_back(co_await queueEntry(store, std::move(item)));
    }
    for (const UnreadableItem& row : read.unreadable) {
        list.unreadable.push_back({.bugID = row.bugID, .sentence = host::describe(row)});
    }
    co_return list;
}

Task<BugQueueItem> itemNamed(DispatchStore store, std::string bugID) {
    const std::string shortID = BugID::normalized(bugID);
    if (!isValidUtf8(bugID) || shortID.empty()) {
        throw ServiceError(ServiceErrorCode::invalid,
                           "That is no bug's id (it is empty, or not valid UTF-8); see: quernlight-dispatch "
                           "queue list");
    }
    auto item = co_await readableItem(store, shortID);
    const auto retired = co_await store.retired.bug(shortID);
    if (!item && !retired) {
        std::string whole = co_await completed(store, shortID);
        item = co_await readableItem(store, std::move(whole));
    }
    if (!item) {
        throw notInQueue(shortID, retired);
    }
    co_return *item;
}

Task<QueueItemDetails> queueItemDetails(DispatchStore store, std::string bugID) {
    BugQueueItem item = co_await itemNamed(store, std::move(bugID));
    co_return co_await detailsOf(store, std::move(item));
}

Task<BugState> bugState(DispatchStore store, std::string bugID) {
    const auto retired = co_await store.retired.bug(bugID);
    auto known = co_await readableItem(store, bugID);
    if (!known && !retired) {
        known = co_await itemNamed(store, bugID);
    }
    BugState state{.bugID = known ? known->bugID : BugID::normalized(bugID), .retired = retired};
    if (known) {
        state.queued = co_await detailsOf(store, std::move(*known));
    }
    co_return state;
}

}  // namespace quernlight::host
