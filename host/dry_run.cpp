#include "host/dry_run.hpp"

#include <cstdlib>
#include <ostream>

#include "host/backend_address.hpp"
#include "host/dispatch_store.hpp"
#include "host/intake/bug_source.hpp"
#include "host/session/comment_poll.hpp"
#include "host/settings/settings_store.hpp"
#include "host/start_request.hpp"
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

Task<void> queueFollowUps(std::vector<QLBugSummaryDTO> listed, const DispatchStore& store,
                          const QuernlightClient& client, QueueManager& manager, std::ostream& out) {
    for (const QLBugSummaryDTO& bug : listed) {
        const auto item = co_await store.items.item(std::string_view(bug.id));
        if (!item || !mayWantFollowUp(item->status)) {
            continue;
        }
        const auto comments = co_await fetchCommentsIfAny(client, item->bugID);
        if (wantsFollowUp(item->status, item->completedAt, comments)) {
            const BugQueueItem again = co_await manager.enqueue(bug, item->queueMode);
            out << "would resume   " << describe(again) << " (a user has commented)\n";
        }
    }
}

Task<bool> isHeldBack(const DispatchStore& store, const BugQueueItem& item) {
    if (item.queueMode == QueueMode::automatic) {
        co_return false;
    }
    const auto events = co_await store.items.events(item.id);
    co_return !startIsRequested(events);
}

/// Items in a live status belong to an owner that runs now, or will be put back first at the next start.
Task<void> tellStarts(const DispatchStore& store, int places, std::ostream& out) {
    for (const BugQueueItem& item : co_await store.items.items()) {
        const bool heldBack = co_await isHeldBack(store, item);
        if (item.status == QueueItemStatus::waitingForMapping) {
            out << "would wait     " << describe(item) << " (no repository for " << item.bundleID << ")\n";
        } else if (item.status != QueueItemStatus::queued) {
            out << "is under way   " << describe(item) << "\n";
            --places;
        } else if (heldBack) {
            out << "would wait     " << describe(item) << " (until: queue start " << item.bugID << ")\n";
        } else {
            out << (places-- > 0 ? "would start    " : "would queue    ") << describe(item) << "\n";
        }
    }
}

Task<IntakeChoice> choose(std::vector<QLBugSummaryDTO> fetched, const DispatchStore& store,
                          const Settings& settings, int limit, std::ostream& out) {
    IntakeChoice choice;
    if (!settings.intakeEnabled) {
        out << "New bugs are not taken in (setting intake.enabled).\n";
        co_return choice;
    }
    const auto known = co_await knownBugIDs(store);
    const int room = co_await roomForNewBugs(store, settings);
    const IntakeRules rules{.limit = limit, .room = room};
    choice = chooseIntake(fetched, known, rules);
    for (const std::string& status : choice.cutStatuses) {
        out << describeCut(status, limit) << "\n";
    }
    co_return choice;
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
    const int limit = IntakeRules{}.limit;
    const auto fetched = co_await fetchListedBugs(client, limit);
    const IntakeChoice choice = co_await choose(fetched, store, settings.now(), limit, out);
    co_await enqueueAll(choice, manager, out);
    if (choice.leftForLater > 0) {
        out << describeLeftForLater(choice.leftForLater, settings.now().intakePerDay) << "\n";
    }
    co_await queueFollowUps(fetched, store, client, manager, out);
    co_await tellStarts(store, settings.now().maxSessions, out);
    out << (choice.newBugs.empty() ? "No new bugs. " : "") << "Nothing was changed." << std::endl;
}

}  // namespace quernlight::host
