#pragma once

#include <filesystem>

#include "host/service/dispatch_service.hpp"

namespace quernlight::host {

/// The service of the dispatcher that runs for a home, asked over its socket. Besides ServiceError its
/// operations throw OwnerNotRunning, when nothing was asked, and OwnerDidNotAnswer, when what was asked may
/// have been done or not.
class RemoteService final : public DispatchService {
  public:
    /// The home need not be there.
    explicit RemoteService(std::filesystem::path home) : home_(std::move(home)) {}

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
    const std::filesystem::path home_;
};

}  // namespace quernlight::host
