#include "host/dispatcher/unmapped_bugs.hpp"

#include "host/dispatcher/start_request.hpp"
#include "host/store/readable_queue.hpp"
#include "host/text/shell_text.hpp"
#include "quernlight/platform/control_characters.hpp"

namespace quernlight::host {
namespace {

/// A name that is too long to be typed is left to the person.
std::string typedOption(const std::string& name, const std::string& value, const char* placeholder) {
    constexpr std::size_t mostTyped = 200;
    return value.size() > mostTyped ? name + " " + placeholder : shellOption(name, value);
}

/// In the manual queue, where no status tells, once a person has asked for a start.
Task<bool> waitsForMapping(const DispatchStore& store, BugQueueItem item) {
    if (item.status == QueueItemStatus::waitingForMapping) {
        co_return true;
    }
    const bool isHeld = item.status == QueueItemStatus::queued && item.queueMode == QueueMode::manual;
    if (!isHeld) {
        co_return false;
    }
    const auto events = co_await store.items.events(item.id);
    const auto mapping = co_await store.mappings.mapping(item.bundleID);
    co_return !mapping && startIsRequested(events);
}

}  // namespace

std::string commandToMap(const BugQueueItem& item) {
    return "quernlight-dispatch map set " + typedOption("--bundle", item.bundleID, "BUNDLE") + " " +
           typedOption("--app", item.appName, "NAME") + " --repo PATH";
}

Task<void> releaseMappedBugs(SessionServices& services) {
    for (const AppMapping& mapping : co_await services.store.mappings.allMappings()) {
        co_await services.manager.releaseWaitingItems(mapping.bundleID);
    }
}

Task<void> nameUnmappedBugs(SessionServices& services) {
    for (const BugQueueItem& item : co_await readableItems(services.store)) {
        const bool waits = co_await waitsForMapping(services.store, item);
        if (waits) {
            services.events.notice("Bug " + item.bugID + " (" + escapedLine(item.appName, 80) +
                                   ") waits for a repository: " + commandToMap(item));
        }
    }
}

}  // namespace quernlight::host
