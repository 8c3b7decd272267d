#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/store/done_work.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/platform/url.hpp"
#include "quernlight/queue/bug_queue_item.hpp"
#include "quernlight/storage/database.hpp"

namespace quernlight::host {

/// A bug that has left the queue because its work was merged.
struct RetiredBug {
    std::string bugID{};  ///< in short form
    std::string title{};
    Instant retiredAt{};
    std::optional<std::string>
        preservedReference{};  ///< where work of its worktree was saved; ", " between several
    std::string appName{};     ///< empty for one of an earlier version's
    std::optional<Url> pullRequest{};
    DoneWork work{};                ///< in all
    std::vector<WorkSpan> spans{};  ///< of its attempts; none for one of an earlier version's
};

/// What is known of a bug that leaves, beside its item.
struct RetiredWork {
    std::optional<std::string> preservedReference{};
    std::optional<Url> pullRequest{};
    DoneWork work{};
    std::vector<WorkSpan> spans{};
};

/// The memory of bugs whose work was merged and whose items are gone, in a table of the program's own, so
/// that they are never taken in again. A value that must outlive the operations awaited on it. Every
/// operation throws DatabaseError.
class RetiredBugs {
  public:
    explicit RetiredBugs(std::shared_ptr<Database> database) : database_(std::move(database)) {}

    /// Makes the table where it is missing.
    Task<void> prepare() const;

    Task<void> remember(const BugQueueItem& item, RetiredWork work, Instant retiredAt) const;

    Task<std::optional<RetiredBug>> bug(std::string bugID) const;

    /// Those that have left since, oldest first.
    Task<std::vector<RetiredBug>> retiredSince(Instant since) const;

    /// In short form.
    Task<std::set<std::string>> bugIDs() const;

    /// By short id.
    Task<std::map<std::string, std::string>> titles() const;

    /// How many of them were added to the queue since.
    Task<int> countAddedSince(Instant since) const;

  private:
    Task<void> addIfMissing(std::string column) const;

    std::shared_ptr<Database> database_;
};

}  // namespace quernlight::host
