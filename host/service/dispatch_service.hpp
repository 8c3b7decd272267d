#pragma once

#include <string>
#include <vector>

#include "host/report/report.hpp"
#include "host/retirement/review_state.hpp"
#include "host/service/bug_operations.hpp"
#include "host/service/configuration_operations.hpp"
#include "host/service/event_following.hpp"
#include "host/service/observation_operations.hpp"
#include "host/service/queue_operations.hpp"
#include "host/store/list_range.hpp"
#include "host/worktree/preserved_work.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// Everything that a person or a program may want of the dispatcher. Whoever uses it does not know whether
/// it works in this process or for another one. Operations run on the awaiting coroutine's executor and throw
/// ServiceError; the service must outlive them.
class DispatchService {
  public:
    virtual ~DispatchService() = default;

    // The queue. A bug is named by its id or an unambiguous beginning of it. `notFound`: no such bug, or one
    // whose work was merged, of which the sentence tells; `ambiguous`: several.

    /// All items, and what cannot be read.
    virtual Task<QueueList> queue() = 0;

    virtual Task<QueueItemDetails> queueItem(std::string bugID) = 0;

    /// Returns the item as it is then. A session that works on an item that is cancelled is ended by itself.
    /// `refused` where the item's state forbids it, with what to do instead;
    /// `needsConfirmation` for finished work that is to be done again; `busy` while another process owns the
    /// home.
    virtual Task<QueueEntry> change(QueueChange change) = 0;

    // The mappings of apps to repositories.

    /// By the apps' names.
    virtual Task<std::vector<AppMapping>> mappings() = 0;

    /// In place of the bundle's last one; releases the bugs that waited for it. Looks at the remote, too,
    /// which takes ten seconds at most. `invalid` for a repository that cannot be used, `busy` while another
    /// process owns the home.
    virtual Task<StoredMapping> setMapping(MappingRequest request) = 0;

    /// Returns the mapping as it was. `notFound`; `refused` while a session works for the app; `busy`.
    virtual Task<AppMapping> removeMapping(std::string bundleID) = 0;

    /// Looks at each mapping's repository anew.
    virtual Task<std::vector<MappingCheck>> checkMappings() = 0;

    // The settings. `notFound`: no such key; the sentence names those that come near.

    virtual Task<SettingList> settings() = 0;
    virtual Task<SettingValue> setting(std::string key) = 0;

    /// Returns the setting as it is then. `invalid` for a text that is not allowed.
    virtual Task<SettingValue> setSetting(std::string key, std::string text) = 0;
    /// Back to its default.
    virtual Task<SettingValue> unsetSetting(std::string key) = 0;

    /// All of them, or none. Returns all settings as they are then.
    virtual Task<SettingList> changeSettings(std::vector<SettingChange> changes) = 0;

    // The backend's bugs, named by their ids in full: eight characters. `backendFailed`:
    // it cannot be reached, or refuses.

    virtual Task<std::vector<QLBugSummaryDTO>> bugs(BugQuery query) = 0;

    /// With its comments and attachments.
    virtual Task<QLBugDetailResponse> bugDetail(std::string bugID) = 0;

    virtual Task<QLCreateBugResponse> fileBug(NewBug bug) = 0;

    /// As a person, whose answer a bug may wait for.
    virtual Task<QLCommentDTO> comment(BugComment comment) = 0;

    virtual Task<void> setBugStatus(std::string bugID, std::string status) = 0;

    /// Nothing clears it.
    virtual Task<void> setPullRequest(std::string bugID, std::optional<Url> link) = 0;

    virtual Task<void> deleteBug(std::string bugID) = 0;

    /// Takes a bug in past the rules of intake. `refused` for one that is in the queue or was merged.
    virtual Task<QueueEntry> enqueue(std::string bugID, QueueMode mode) = 0;

    // What goes on.

    virtual Task<std::vector<RunningSession>> sessions() = 0;

    /// Ends the bug's session politely, and holds the bug in the manual queue, from where it goes on in the
    /// same conversation once it is started. Returns at once, with the item as it is then. `refused` where no
    /// session works on it.
    virtual Task<QueueEntry> stopSession(std::string bugID) = 0;

    /// Also of a bug that has left the queue. `notFound` for one that was never taken in.
    virtual Task<BugState> bug(std::string bugID) = 0;

    virtual Task<std::vector<ReviewItem>> review() = 0;
    virtual Task<HealthReport> health() = 0;

    // What came of the work.

    /// From then on until now. Pull requests are known to a dispatcher that runs, and to a backend that
    /// answers.
    virtual Task<Report> report(Instant since) = 0;

    /// What was kept of worktrees that went, in the mapped repositories.
    virtual Task<PreservedList> preserved(ListRange range) = 0;

    /// Named by its reference, by the name in a list, or by its bug. `notFound`; `ambiguous`.
    virtual Task<PreservedDetails> preservedWork(std::string name) = 0;

    /// `invalid` where it would overwrite something.
    virtual Task<RestoredWork> restorePreserved(RestoreRequest request) = 0;

    /// Of work in review, whether it is merged and whether it could be. Fetches.
    virtual Task<ReviewStates> reviewStates(ListRange range) = 0;

    /// Retires the bugs whose pull request is merged now, as a dispatcher that runs does; `dryRun` only says
    /// what that would do. One for each bug in review. `busy` while another process owns the home.
    virtual Task<std::vector<ReapedBug>> reap(bool dryRun) = 0;

    /// What happens from now on, told on the executor. Where no dispatcher runs, only to look anew: again and
    /// again, or, in a service that works in this process alone, once.
    [[nodiscard]] virtual EventSubscription subscribe(const boost::asio::any_io_executor& executor,
                                                      EventListener listener) = 0;
};

}  // namespace quernlight::host
