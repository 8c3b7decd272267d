#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "host/service/dispatch_service.hpp"
#include "host/service/store_access.hpp"

namespace quernlight::host {

/// What only a dispatcher that runs in this process knows. Each may be missing.
struct LiveSources {
    std::function<EventPublisher::Subscription(EventPublisher::Handler)> subscribe{};
    std::function<std::optional<Url>(const std::string& bugID)> pullRequest{};
    /// Backend, disk and alerts.
    std::function<HealthReport()> health{};
};

/// The service, working in this process on a home's store.
class DirectService final : public DispatchService {
  public:
    explicit DirectService(std::unique_ptr<StoreAccess> access, LiveSources live = {})
        : access_(std::move(access)), live_(std::move(live)) {}

    Task<std::vector<QueueEntry>> queue() override;
    Task<QueueItemDetails> queueItem(std::string bugID) override;
    Task<QueueEntry> change(QueueChange change) override;

    Task<std::vector<AppMapping>> mappings() override;
    Task<AppMapping> setMapping(MappingRequest request) override;

    Task<SettingList> settings() override;
    Task<SettingValue> setting(std::string key) override;
    Task<SettingValue> setSetting(std::string key, std::string text) override;
    Task<SettingValue> unsetSetting(std::string key) override;

    Task<std::vector<RunningSession>> sessions() override;
    Task<BugState> bug(std::string bugID) override;
    Task<std::vector<ReviewItem>> review() override;
    Task<HealthReport> health() override;
    [[nodiscard]] EventPublisher::Subscription subscribe(EventPublisher::Handler handler) override;

  private:
    const std::unique_ptr<StoreAccess> access_;
    const LiveSources live_;
};

}  // namespace quernlight::host
