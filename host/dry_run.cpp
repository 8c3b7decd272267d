#include "host/dry_run.hpp"

#include <cstdlib>
#include <ostream>

#include "host/dispatch_store.hpp"
#include "host/intake.hpp"
#include "host/user_error.hpp"
#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {
namespace {

class ScratchDirectory {
  public:
    ScratchDirectory() {
        std::string name = (std::filesystem::temp_directory_path() / "quernlight-dry-run-XXXXXX").string();
        if (!mkdtemp(name.data())) {
            throw UserError("No temporary directory can be made in " +
                            std::filesystem::temp_directory_path().string() + "; free some disk space.");
        }
        path_ = name;
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

std::string describe(const BugQueueItem& item) {
    return item.bugID + "  " + item.appName + ": " + item.title;
}

Task<void> enqueueAll(const IntakeChoice& choice, QueueManager& manager, std::ostream& out) {
    for (const QLBugSummaryDTO& bug : choice.newBugs) {
        const BugQueueItem item = co_await manager.enqueue(bug, QueueMode::automatic);
        out << "would enqueue  " << describe(item) << "\n";
    }
}

/// Items in a live status belong to an owner that runs now, or will be put back first at the next start.
Task<void> tellStarts(const DispatchStore& store, int places, std::ostream& out) {
    for (const BugQueueItem& item : co_await store.items.items(autoQueue)) {
        if (item.status == QueueItemStatus::waitingForMapping) {
            out << "would wait     " << describe(item) << " (no repository for " << item.bundleID << ")\n";
        } else if (item.status == QueueItemStatus::queued) {
            out << (places-- > 0 ? "would start    " : "would queue    ") << describe(item) << "\n";
        } else {
            out << "is under way   " << describe(item) << "\n";
            --places;
        }
    }
}

}  // namespace

Task<void> dryRun(std::filesystem::path home, QuernlightClient client, DispatcherSettings settings,
                  std::ostream& out) {
    const ScratchDirectory scratch;
    const DispatchStore store =
        co_await DispatchStore::openCopy(FileLocations::databaseURL(home), scratch.path() / "queue.sqlite");
    QueueManager manager(store.items, store.mappings, client.baseURL());
    const auto fetched = co_await fetchBugsInScope(client, settings.scope, settings.fetchLimit);
    const IntakeChoice choice = chooseIntake(fetched, co_await knownBugIDs(store.items), settings.fetchLimit);
    for (const std::string& status : choice.cutStatuses) {
        out << describeCut(status, settings.fetchLimit) << "\n";
    }
    co_await enqueueAll(choice, manager, out);
    co_await tellStarts(store, settings.maxSessions, out);
    out << (choice.newBugs.empty() ? "No new bugs. " : "") << "Nothing was changed." << std::endl;
}

}  // namespace quernlight::host
