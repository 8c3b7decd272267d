#pragma once

#include <memory>

#include "host/service/dispatch_service.hpp"
#include "host/service/live_sources.hpp"
#include "host/service/store_access.hpp"
#include "host/worktree/git_slots.hpp"

namespace quernlight::host {

/// The service, working in this process on a home's store.
class DirectService final : public DispatchService {
  public:
    /// Without a way to reach the backend its bugs are unavailable.
    explicit DirectService(std::unique_ptr<StoreAccess> access, LiveSources live = {},
                           BackendAccess backend = {})
        : access_(std::move(access)), live_(std::move(live)), backend_(std::move(backend)) {}

    Task<QueueList> queue() override;
    Task<QueueItemDetails> queueItem(std::string bugID) override;
    Task<QueueEntry> change(QueueChange change) override;

    Task<std::vector<AppMapping>> mappings() override;
    Task<StoredMapping> setMapping(MappingRequest request) override;
    Task<AppMapping> removeMapping(std::string bundleID) override;
    Task<std::vector<MappingCheck>> checkMappings() override;

    Task<SettingList> settings() override;
    Task<SettingValue> setting(std::string key) override;
    Task<SettingValue> setSetting(std::string key, std::string text) override;
    Task<SettingValue> unsetSetting(std::string key) override;
    Task<SettingList> changeSettings(std::vector<SettingChange> changes) override;

    Task<std::vector<QLBugSummaryDTO>> bugs(BugQuery query) override;
    Task<QLBugDetailResponse> bugDetail(std::string bugID) override;
    Task<QLCreateBugResponse> fileBug(NewBug bug) override;
    Task<QLCommentDTO> comment(BugComment comment) override;
    Task<void> setBugStatus(std::string bugID, std::string status) override;
    Task<void> setPullRequest(std::string bugID, std::optional<Url> link) override;
    Task<void> deleteBug(std::string bugID) override;
    Task<QueueEntry> enqueue(std::string bugID, QueueMode mode) override;

    Task<std::vector<RunningSession>> sessions() override;
    Task<QueueEntry> stopSession(std::string bugID) override;
    Task<BugState> bug(std::string bugID) override;
    Task<std::vector<ReviewItem>> review() override;
    Task<HealthReport> health() override;

    Task<Report> report(Instant since) override;
    Task<PreservedList> preserved(ListRange range) override;
    Task<PreservedDetails> preservedWork(std::string name) override;
    Task<RestoredWork> restorePreserved(RestoreRequest request) override;
    Task<ReviewStates> reviewStates(ListRange range) override;
    Task<std::vector<ReapedBug>> reap(bool dryRun) override;
    [[nodiscard]] EventSubscription subscribe(const boost::asio::any_io_executor& executor,
                                              EventListener listener) override;

  private:
    static constexpr std::size_t mostGits = 4;  // that look at what was kept, for all requests

    const std::unique_ptr<StoreAccess> access_;
    const LiveSources live_;
    const BackendAccess backend_;
    GitSlots gits_{mostGits};
};

}  // namespace quernlight::host
