#include "host/store/readable_queue.hpp"

#include "host/text/terminal_text.hpp"

namespace quernlight::host {

Task<std::vector<BugQueueItem>> readableItems(DispatchStore store, QueueListing listing) {
    ReadableItems read = co_await store.items.readableItems(listing);
    co_return std::move(read.items);
}

Task<std::set<std::string>> knownBugIDs(DispatchStore store) {
    std::set<std::string> known = co_await store.retired.bugIDs();
    const ReadableItems queue = co_await store.items.readableItems(wholeQueue);
    for (const BugQueueItem& item : queue.items) {
        known.insert(item.bugID);
    }
    for (const UnreadableItem& row : queue.unreadable) {
        known.insert(row.bugID);
    }
    co_return known;
}

std::string describe(const UnreadableItem& row) {
    const std::string bug = row.bugID.empty() ? "A bug" : "Bug " + withoutControls(row.bugID);
    return bug + " of the queue cannot be read (" + row.trouble +
           "), so it is left as it is and not worked on. Use the version of this program that wrote it, or mend "
           "its row in the table queue_items of queue.sqlite while no dispatcher runs.";
}

}  // namespace quernlight::host
