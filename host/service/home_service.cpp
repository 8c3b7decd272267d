#include "host/service/home_service.hpp"

#include <chrono>

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/control/control_client.hpp"
#include "host/process/dispatch_home.hpp"
#include "host/service/direct_service.hpp"
#include "host/service/remote_service.hpp"
#include "host/service/service_error.hpp"

namespace quernlight::host {
namespace {

/// Longer than another command may own the home: until what is left of an agent has ended.
constexpr std::chrono::seconds longestWait{12};
constexpr std::chrono::milliseconds lookInterval{50};

enum class Effect { reads, changes };

Task<void> pauseFor(std::chrono::milliseconds time) {
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor, time);
    co_await timer.async_wait(boost::asio::use_awaitable);
}

class HomeService final : public DispatchService {
  public:
    HomeService(const ChosenHome& home, BackendAccess backend)
        : owner_(locateDispatchHome(home)),
          own_(std::make_unique<HomeAccess>(home), LiveSources{}, std::move(backend)) {}

    Task<QueueList> queue() override {
        return either(Effect::reads, [](DispatchService& service) { return service.queue(); });
    }
    Task<QueueItemDetails> queueItem(std::string bugID) override {
        return either(Effect::reads, [=](DispatchService& service) { return service.queueItem(bugID); });
    }
    Task<QueueEntry> change(QueueChange change) override {
        return either(Effect::changes, [=](DispatchService& service) { return service.change(change); });
    }

    Task<std::vector<AppMapping>> mappings() override {
        return either(Effect::reads, [](DispatchService& service) { return service.mappings(); });
    }
    Task<StoredMapping> setMapping(MappingRequest request) override {
        return either(Effect::changes, [=](DispatchService& service) { return service.setMapping(request); });
    }
    Task<AppMapping> removeMapping(std::string bundleID) override {
        return either(Effect::changes,
                      [=](DispatchService& service) { return service.removeMapping(bundleID); });
    }
    Task<std::vector<MappingCheck>> checkMappings() override {
        return either(Effect::reads, [](DispatchService& service) { return service.checkMappings(); });
    }

    Task<SettingList> settings() override {
        return either(Effect::reads, [](DispatchService& service) { return service.settings(); });
    }
    Task<SettingValue> setting(std::string key) override {
        return either(Effect::reads, [=](DispatchService& service) { return service.setting(key); });
    }
    Task<SettingValue> setSetting(std::string key, std::string text) override {
        return either(Effect::changes,
                      [=](DispatchService& service) { return service.setSetting(key, text); });
    }
    Task<SettingValue> unsetSetting(std::string key) override {
        return either(Effect::changes, [=](DispatchService& service) { return service.unsetSetting(key); });
    }
    Task<SettingList> changeSettings(std::vector<SettingChange> changes) override {
        return either(Effect::changes,
                      [=](DispatchService& service) { return service.changeSettings(changes); });
    }

    Task<std::vector<QLBugSummaryDTO>> bugs(BugQuery query) override {
        return either(Effect::reads, [=](DispatchService& service) { return service.bugs(query); });
    }
    Task<QLBugDetailResponse> bugDetail(std::string bugID) override {
        return either(Effect::reads, [=](DispatchService& service) { return service.bugDetail(bugID); });
    }
    Task<QLCreateBugResponse> fileBug(NewBug bug) override {
        return either(Effect::changes, [=](DispatchService& service) { return service.fileBug(bug); });
    }
    Task<QLCommentDTO> comment(BugComment comment) override {
        return either(Effect::changes, [=](DispatchService& service) { return service.comment(comment); });
    }
    Task<void> setBugStatus(std::string bugID, std::string status) override {
        return either(Effect::changes,
                      [=](DispatchService& service) { return service.setBugStatus(bugID, status); });
    }
    Task<void> setPullRequest(std::string bugID, std::optional<Url> link) override {
        return either(Effect::changes,
                      [=](DispatchService& service) { return service.setPullRequest(bugID, link); });
    }
    Task<void> deleteBug(std::string bugID) override {
        return either(Effect::changes, [=](DispatchService& service) { return service.deleteBug(bugID); });
    }
    Task<QueueEntry> enqueue(std::string bugID, QueueMode mode) override {
        return either(Effect::changes,
                      [=](DispatchService& service) { return service.enqueue(bugID, mode); });
    }

    Task<std::vector<RunningSession>> sessions() override {
        return either(Effect::reads, [](DispatchService& service) { return service.sessions(); });
    }
    Task<QueueEntry> stopSession(std::string bugID) override {
        return either(Effect::changes, [=](DispatchService& service) { return service.stopSession(bugID); });
    }
    Task<BugState> bug(std::string bugID) override {
        return either(Effect::reads, [=](DispatchService& service) { return service.bug(bugID); });
    }
    Task<std::vector<ReviewItem>> review() override {
        return either(Effect::reads, [](DispatchService& service) { return service.review(); });
    }
    Task<HealthReport> health() override {
        return either(Effect::reads, [](DispatchService& service) { return service.health(); });
    }

    Task<Report> report(Instant since) override {
        return either(Effect::reads, [=](DispatchService& service) { return service.report(since); });
    }
    Task<PreservedList> preserved(ListRange range) override {
        return either(Effect::reads, [=](DispatchService& service) { return service.preserved(range); });
    }
    Task<PreservedDetails> preservedWork(std::string name) override {
        return either(Effect::reads, [=](DispatchService& service) { return service.preservedWork(name); });
    }
    Task<RestoredWork> restorePreserved(RestoreRequest request) override {
        return either(Effect::changes,
                      [=](DispatchService& service) { return service.restorePreserved(request); });
    }
    Task<ReviewStates> reviewStates(ListRange range) override {
        return either(Effect::reads, [=](DispatchService& service) { return service.reviewStates(range); });
    }
    Task<std::vector<ReapedBug>> reap(bool dryRun) override {
        return either(dryRun ? Effect::reads : Effect::changes,
                      [=](DispatchService& service) { return service.reap(dryRun); });
    }

    EventSubscription subscribe(const boost::asio::any_io_executor& executor,
                                EventListener listener) override {
        return owner_.subscribe(executor, std::move(listener));
    }

  private:
    /// An owner that does not answer keeps nobody from reading. One that has begun does not listen yet for a
    /// moment; then, and while another command changes something, the home is another's and nobody is there.
    template <class Ask>
    auto either(Effect effect, Ask ask) -> decltype(ask(std::declval<DispatchService&>())) {
        const auto deadline = std::chrono::steady_clock::now() + longestWait;
        while (true) {
            try {
                co_return co_await ask(owner_);
            } catch (const OwnerNotRunning&) {
            } catch (const OwnerDidNotAnswer& error) {
                if (effect == Effect::changes) {
                    throw ServiceError(ServiceErrorCode::unavailable, unanswered(error));
                }
            }
            try {
                co_return co_await ask(own_);
            } catch (const ServiceError& error) {
                const bool mayPass = error.code() == ServiceErrorCode::busy;
                if (!mayPass || std::chrono::steady_clock::now() >= deadline) {
                    throw;
                }
            }
            co_await pauseFor(lookInterval);
        }
    }

    static std::string unanswered(const OwnerDidNotAnswer& error) {
        return std::string(error.what()) + " What was asked for may have been done, or not: look first.";
    }

    RemoteService owner_;
    DirectService own_;
};

}  // namespace

std::unique_ptr<DispatchService> serviceForHome(const ChosenHome& home, BackendAccess backend) {
    return std::make_unique<HomeService>(home, std::move(backend));
}

}  // namespace quernlight::host
