#include "host/dry_run.hpp"

#include <cstdlib>
#include <ostream>

#include "host/backend_address.hpp"
#include "host/dispatch_store.hpp"
#include "host/intake/bug_source.hpp"
#include "host/settings/settings_store.hpp"
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

Task<void> dryRun(DryRun dry, std::ostream& out) {
    const ScratchDirectory scratch;
    const DispatchStore store = co_await DispatchStore::openCopy(FileLocations::databaseURL(dry.home),
                                                                 scratch.path() / "queue.sqlite");
    LiveSettings settings(SettingsStore(store.database), dry.settings);
    co_await settings.refresh();
    const QuernlightClient client(backendAddress(dry.backend, settings.now()), dry.token,
                                  std::make_shared<HttpSession>());
    QueueManager manager(store.items, store.mappings, client.baseURL());
    IntakeRules rules;
    const auto fetched = co_await fetchListedBugs(client, rules.limit);
    rules.room = co_await roomForNewBugs(store, settings.now());
    const auto known = co_await knownBugIDs(store);
    const IntakeChoice choice = chooseIntake(fetched, known, rules);
    for (const std::string& status : choice.cutStatuses) {
        out << describeCut(status, rules.limit) << "\n";
    }
    co_await enqueueAll(choice, manager, out);
    if (choice.leftForLater > 0) {
        out << describeLeftForLater(choice.leftForLater, settings.now().intakePerDay) << "\n";
    }
    co_await tellStarts(store, settings.now().maxSessions, out);
    out << (choice.newBugs.empty() ? "No new bugs. " : "") << "Nothing was changed." << std::endl;
}

}  // namespace quernlight::host
