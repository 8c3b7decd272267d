#pragma once

#include <memory>

#include "host/service/dispatch_service.hpp"
#include "host/service/live_sources.hpp"
#include "host/service/store_access.hpp"

namespace quernlight::host {

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
    Task<AppMapping> removeMapping(std::string bundleID) override;
    Task<std::vector<MappingCheck>> checkMappings() override;

    Task<SettingList> settings() override;
    Task<SettingValue> setting(std::string key) override;
    Task<SettingValue> setSetting(std::string key, std::string text) override;
    Task<SettingValue> unsetSetting(std::string key) override;

    Task<std::vector<RunningSession>> sessions() override;
    Task<QueueEntry> stopSession(std::string bugID) override;
    Task<BugState> bug(std::string bugID) override;
    Task<std::vector<ReviewItem>> review() override;
    Task<HealthReport> health() override;
    [[nodiscard]] EventPublisher::Subscription subscribe(EventPublisher::Handler handler) override;

  private:
    const std::unique_ptr<StoreAccess> access_;
    const LiveSources live_;
};

}  // namespace quernlight::host
