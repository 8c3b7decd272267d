#include "host/service/review_operations.hpp"

#include "host/retirement/retirement.hpp"
#include "host/service/service_error.hpp"
#include "host/settings/settings_store.hpp"
#include "host/text/failure_sentence.hpp"
#include "quernlight/git/worktree_naming.hpp"

namespace quernlight::host {
namespace {

/// What retirement needs where no dispatcher runs. The client has been asked for the bugs in review.
class OwnRetirement {
  public:
    OwnRetirement(OwnedStore owned, Settings settings, QuernlightClient client)
        : owned_(std::move(owned)),
          settings_(std::move(settings)),
          health_(clock_, [](const std::string&) {}),
          retirement_(RetirementServices{.home = owned_.home,
                                         .store = owned_.store,
                                         .manager = *owned_.manager,
                                         .client = std::move(client),
                                         .repositories = repositories_,
                                         .clock = clock_,
                                         .stop = stop_,
                                         .health = health_,
                                         .settings = settings_,
                                         .events = events_},
                      listed_, [](const Uuid&) { return false; }) {}
    OwnRetirement(const OwnRetirement&) = delete;
    OwnRetirement& operator=(const OwnRetirement&) = delete;

    Retirement& listing(const std::vector<QLBugSummaryDTO>& bugs) {
        listed_.replace(bugs);
        return retirement_;
    }

  private:
    const OwnedStore owned_;
    const Settings settings_;
    SystemClock clock_;
    StopRequest stop_;
    EventPublisher events_;
    RepositoryLocks repositories_;
    BackendHealth health_;
    ListedBugs listed_;
    Retirement retirement_;
};

Task<std::shared_ptr<const QuernlightClient>> reach(BackendAccess backend) {
    if (!backend) {
        throw ServiceError(ServiceErrorCode::unavailable, "The backend cannot be asked from here.");
    }
    co_return co_await backend();
}

Task<std::vector<QLBugSummaryDTO>> bugsInReview(std::shared_ptr<const QuernlightClient> client) {
    constexpr int most = 1000;
    std::vector<std::string> statuses{"in_review"};
    co_return co_await client->fetchBugs(std::move(statuses), most);
}

Task<Settings> storedSettings(DispatchStore store) {
    const SettingsStore settings(store.database);
    co_return (co_await settings.read()).settings;
}

/// For looks, which change nothing that is stored.
Task<OwnedStore> looking(StoreAccess& access) {
    DispatchStore store = co_await access.forReading();
    auto manager = std::make_shared<QueueManager>(store.items, store.mappings, Url());
    co_return OwnedStore{.home = access.home(), .store = std::move(store), .manager = std::move(manager)};
}

/// What is known without the backend.
Task<std::vector<ReviewState>> statesWithout(OwnedStore owned, std::string trouble) {
    std::vector<ReviewState> states;
    for (BugQueueItem& item : co_await owned.store.items.items(wholeQueue)) {
        if (item.status == QueueItemStatus::completed) {
            std::string branch = WorktreeNaming::branchName(item.appName, item.bugID);
            states.push_back({.item = std::move(item),
                              .branch = std::move(branch),
                              .trouble = "Its pull request is not known: " + trouble});
        }
    }
    co_return states;
}

Task<std::vector<ReviewState>> ownStates(OwnedStore owned, std::shared_ptr<const QuernlightClient> client) {
    Settings settings = co_await storedSettings(owned.store);
    const auto bugs = co_await bugsInReview(client);
    OwnRetirement own(std::move(owned), std::move(settings), *client);
    co_return co_await own.listing(bugs).states();
}

Task<std::vector<ReapedBug>> workOf(Retirement& retirement, bool dryRun) {
    return dryRun ? retirement.plan() : retirement.reap();
}

}  // namespace

Task<std::vector<ReviewState>> listReviewStates(StoreAccess& access, const LiveSources& live,
                                                BackendAccess backend) {
    if (live.retirement) {
        co_return co_await live.retirement->states();
    }
    const OwnedStore owned = co_await looking(access);
    std::string trouble;
    try {
        auto client = co_await reach(std::move(backend));
        co_return co_await ownStates(owned, std::move(client));
    } catch (const DatabaseError&) {
        throw;
    } catch (const std::exception& error) {
        trouble = failureSentence(error);
    }
    co_return co_await statesWithout(owned, std::move(trouble));
}

Task<std::vector<ReapedBug>> reapMerged(StoreAccess& access, const LiveSources& live, BackendAccess backend,
                                        bool dryRun) {
    if (live.retirement) {
        co_return co_await workOf(*live.retirement, dryRun);
    }
    Task<OwnedStore> opening = dryRun ? looking(access) : access.forQueue();
    OwnedStore owned = co_await std::move(opening);
    Settings settings = co_await storedSettings(owned.store);
    const auto client = co_await reach(std::move(backend));
    const auto bugs = co_await bugsInReview(client);
    OwnRetirement own(std::move(owned), std::move(settings), *client);
    co_return co_await workOf(own.listing(bugs), dryRun);
}

}  // namespace quernlight::host
