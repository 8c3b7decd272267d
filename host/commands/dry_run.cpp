#include "host/commands/dry_run.hpp"

#include <ostream>

#include "host/dispatcher/fact_gatherer.hpp"
#include "host/events/event_publisher.hpp"
#include "host/health/unreadable_records.hpp"
#include "host/intake/bug_source.hpp"
#include "host/intake/daily_room.hpp"
#include "host/process/scratch_directory.hpp"
#include "host/process/user_error.hpp"
#include "host/session/comment_poll.hpp"
#include "host/settings/backend_address.hpp"
#include "host/settings/settings_store.hpp"
#include "host/settings/token_source.hpp"
#include "host/store/dispatch_store.hpp"
#include "host/store/readable_queue.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/platform/control_characters.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {
namespace {

/// What is told besides the plan.
EventPublisher::Subscription printNotices(EventPublisher& events, std::ostream& out) {
    return events.subscribe([&out](const DispatchEvent& event) {
        if (const auto* notice = std::get_if<Notice>(&event)) {
            out << withoutControls(notice->sentence) << "\n";
        }
    });
}

std::string describe(const BugQueueItem& item) {
    constexpr std::size_t mostShown = 300;
    return escapedLine(item.bugID + "  " + item.appName + ": " + item.title, mostShown);
}

Task<void> enqueueAll(const IntakeChoice& choice, QueueManager& manager, std::ostream& out) {
    EventPublisher events;
    const auto printing = printNotices(events, out);
    for (const std::string& bugID : choice.unusableBugIDs) {
        events.noticeOnce(describeUnusableID(bugID));
    }
    for (const QLBugSummaryDTO& bug : choice.newBugs) {
        const BugQueueItem item = co_await manager.enqueue(bug, QueueMode::automatic);
        out << "would enqueue  " << describe(item) << "\n";
    }
}

Task<void> queueFollowUps(std::vector<QLBugSummaryDTO> listed, const DispatchStore& store,
                          const QuernlightClient& client, QueueManager& manager, std::ostream& out) {
    EventPublisher events;
    const auto printing = printNotices(events, out);
    for (const QLBugSummaryDTO& bug : listed) {
        const auto item = co_await store.items.item(std::string_view(bug.id));
        if (!item || !mayWantFollowUp(item->status)) {
            continue;
        }
        const auto comments = co_await fetchCommentsIfAny(client, events, item->bugID);
        if (wantsFollowUp(item->status, item->completedAt, comments.records)) {
            const BugQueueItem again = co_await manager.enqueue(bug, item->queueMode);
            out << "would resume   " << describe(again) << " (a user has commented)\n";
        }
    }
}

/// Items in a live status belong to an owner that runs now, or will be put back first at the next start.
std::string_view outlook(const std::optional<WaitReason>& reason) {
    if (!reason) {
        return "would start    ";
    }
    return reason->cause == WaitCause::running ? "is under way   " : "would wait     ";
}

Task<void> tellStarts(const DispatchStore& store, const Settings& settings, std::ostream& out) {
    const AdmissionFacts facts = co_await factsWithoutOwner(store, settings);
    for (const AdmissionDecision& decision : admit(facts)) {
        const bool tellsWhy = decision.reason && decision.reason->cause != WaitCause::running;
        out << outlook(decision.reason) << describe(decision.item)
            << (tellsWhy ? " (" + sentenceOf(*decision.reason) + ")" : "") << "\n";
    }
}

Task<IntakeChoice> choose(std::vector<QLBugSummaryDTO> fetched, const DispatchStore& store,
                          const Settings& settings, std::ostream& out) {
    IntakeChoice choice;
    if (!settings.intakeEnabled) {
        out << "New bugs are not taken in (setting intake.enabled).\n";
        co_return choice;
    }
    const auto known = co_await knownBugIDs(store);
    const int room = co_await roomForNewBugs(store, settings, currentInstant());
    const IntakeRules rules{.room = room};
    co_return chooseIntake(fetched, known, rules);
}

/// The bugs that can be told apart; of the others, and of what cannot be read, it is said which they are.
Task<std::vector<QLBugSummaryDTO>> listBugs(const QuernlightClient& client, const DispatchStore& store,
                                            std::ostream& out) {
    EventPublisher events;
    const auto printing = printNotices(events, out);
    const SystemClock clock;
    BugSource source(client, firstListLimit, clock);
    BugListing listing = co_await source.list();
    const auto queue = co_await readableItems(store, wholeQueue);
    const auto retired = co_await store.retired.titles();
    DistinctBugs distinct = distinctBugs(std::move(listing.bugs), queue, retired);
    tellUnreadableBugs(events, listing.unreadable);
    for (const CutList& cut : listing.cutLists) {
        events.noticeOnce(describeCut(cut));
    }
    for (const IDCollision& collision : distinct.collisions) {
        events.noticeOnce(host::describe(collision));
    }
    co_return std::move(distinct.bugs);
}

}  // namespace

Task<void> dryRun(DryRun dry, std::ostream& out) {
    const ScratchDirectory scratch;
    const DispatchStore store = co_await DispatchStore::openCopy(FileLocations::databaseURL(dry.home),
                                                                 scratch.path() / "queue.sqlite");
    LiveSettings settings(SettingsStore(store.database), dry.settings);
    co_await settings.refresh();
    const Url backend = backendAddress(dry.backend, settings.now());
    const TokenSource source = tokenSource(dry.tokenFile, currentEnvironmentMap(), settings.now());
    const std::string token = co_await readToken(source, backend);
    const QuernlightClient client(backend, token, std::make_shared<HttpSession>());
    QueueManager manager(store.items, store.mappings, client.baseURL());
    const auto fetched = co_await listBugs(client, store, out);
    const IntakeChoice choice = co_await choose(fetched, store, settings.now(), out);
    co_await enqueueAll(choice, manager, out);
    if (choice.leftForLater > 0) {
        out << describeLeftForLater(choice.leftForLater, settings.now().intakePerDay) << "\n";
    }
    co_await queueFollowUps(fetched, store, client, manager, out);
    co_await tellStarts(store, settings.now(), out);
    out << (choice.newBugs.empty() ? "No new bugs. " : "") << "Nothing was changed." << std::endl;
}

}  // namespace quernlight::host
