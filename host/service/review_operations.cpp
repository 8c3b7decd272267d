#include "host/service/review_operations.hpp"

#include <optional>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

#include "host/process/home_lock.hpp"
#include "host/retirement/retirement.hpp"
#include "host/service/service_error.hpp"
#include "host/settings/settings_store.hpp"
#include "host/text/failure_sentence.hpp"
#include "host/worktree/git_marks.hpp"
#include "quernlight/git/worktree_naming.hpp"

namespace quernlight::host {
namespace {

namespace asio = boost::asio;

/// Retirement works to its end whoever waits; so the wish to cancel who waits here becomes one to stop, and a
/// second one to stop at once.
template <class Result>
Task<Result> stoppedWithCaller(StopRequest& stop, Task<Result> work) {
    const auto executor = co_await asio::this_coro::executor;
    const asio::cancellation_state state = co_await asio::this_coro::cancellation_state;
    asio::cancellation_slot caller = state.slot();
    if (caller.is_connected()) {
        caller.assign([&stop](asio::cancellation_type) {
            stop.raise(stop.isStopping() ? StopLevel::kill : StopLevel::stop);
        });
    }
    const std::shared_ptr<void> atEnd(nullptr, [caller](void*) mutable {
        if (caller.is_connected()) {
            caller.clear();
        }
    });
    asio::cancellation_signal nobodys;
    Result result = co_await asio::co_spawn(
        executor, std::move(work), asio::bind_cancellation_slot(nobodys.slot(), asio::use_awaitable));
    if (stop.isStopping()) {
        throw boost::system::system_error(asio::error::operation_aborted);
    }
    co_return result;
}

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
    StopRequest& stop() { return stop_; }

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
Task<ReviewStates> statesWithout(OwnedStore owned, ListRange range, std::string trouble) {
    std::vector<ReviewState> states;
    for (BugQueueItem& item : co_await owned.store.items.items(wholeQueue)) {
        if (item.status == QueueItemStatus::completed) {
            std::string branch = WorktreeNaming::branchName(item.appName, item.bugID);
            states.push_back({.item = std::move(item),
                              .branch = std::move(branch),
                              .trouble = "Its pull request is not known: " + trouble});
        }
    }
    const std::size_t total = states.size();
    range.cut(states);
    co_return ReviewStates{.states = std::move(states), .total = total};
}

Task<ReviewStates> ownStates(OwnedStore owned, std::shared_ptr<const QuernlightClient> client,
                             ListRange range) {
    Settings settings = co_await storedSettings(owned.store);
    const auto bugs = co_await bugsInReview(client);
    OwnRetirement own(std::move(owned), std::move(settings), *client);
    co_return co_await stoppedWithCaller(own.stop(), own.listing(bugs).states(range));
}

Task<std::vector<ReapedBug>> workOf(Retirement& retirement, bool dryRun) {
    return dryRun ? retirement.plan() : retirement.reap();
}

/// Before a repository is touched, as an owner does at its start.
Task<void> endGitsOfEarlierOwner(std::filesystem::path home) {
    const auto left = co_await endOrphanedGits(std::move(home));
    if (!left.empty()) {
        throw ServiceError(ServiceErrorCode::unavailable,
                           "Process " + std::to_string(left.front().pid) +
                               ", a git that an earlier run left behind, cannot be ended; nothing is retired "
                               "until it has ended.");
    }
}

/// For looks, which own no home: only where nobody else does, and not those of other commands.
Task<void> endGitsNobodyWaitsFor(std::filesystem::path home) {
    std::optional<HomeLock> lock;
    try {
        lock.emplace(home);
    } catch (const UserError&) {
        co_return;  // it has an owner, or may only be read
    }
    co_await endAbandonedGits(std::move(home));
}

}  // namespace

Task<ReviewStates> listReviewStates(StoreAccess& access, const LiveSources& live, BackendAccess backend,
                                    ListRange range) {
    if (live.retirement) {
        co_return co_await live.retirement->states(range);
    }
    const OwnedStore owned = co_await looking(access);
    co_await endGitsNobodyWaitsFor(owned.home);
    std::string trouble;
    try {
        auto client = co_await reach(std::move(backend));
        co_return co_await ownStates(owned, std::move(client), range);
    } catch (const DatabaseError&) {
        throw;
    } catch (const boost::system::system_error& error) {
        if (error.code() == asio::error::operation_aborted) {
            throw;  // who asked has gone
        }
        trouble = failureSentence(error);
    } catch (const std::exception& error) {
        trouble = failureSentence(error);
    }
    co_return co_await statesWithout(owned, range, std::move(trouble));
}

Task<std::vector<ReapedBug>> reapMerged(StoreAccess& access, const LiveSources& live, BackendAccess backend,
                                        bool dryRun) {
    if (live.retirement) {
        co_return co_await workOf(*live.retirement, dryRun);
    }
    const auto client = co_await reach(std::move(backend));
    const auto bugs = co_await bugsInReview(client);
    Task<OwnedStore> opening = dryRun ? looking(access) : access.forQueue();  // it keeps others out
    OwnedStore owned = co_await std::move(opening);
    Task<void> ending = dryRun ? endGitsNobodyWaitsFor(owned.home) : endGitsOfEarlierOwner(owned.home);
    co_await std::move(ending);
    Settings settings = co_await storedSettings(owned.store);
    OwnRetirement own(std::move(owned), std::move(settings), *client);
    Task<std::vector<ReapedBug>> work = workOf(own.listing(bugs), dryRun);
    co_return co_await stoppedWithCaller(own.stop(), std::move(work));
}

}  // namespace quernlight::host
