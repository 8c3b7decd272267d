#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quernlight/platform/task.hpp"
#include "quernlight/queue/bug_queue_item.hpp"
#include "quernlight/storage/database.hpp"

namespace quernlight {

/// What a listing of the queue contains.
struct QueueListing {
    bool includeTerminal = false;
    std::optional<QueueMode> queueMode{};  ///< absent: both queues
};

/// A row of the queue that is no item, which another program or another version may have written.
struct UnreadableItem {
    std::string bugID{};    ///< as the row has it; empty when not even that can be read
    std::string trouble{};  ///< one sentence
};

struct ReadableItems {
    std::vector<BugQueueItem> items{};
    std::vector<UnreadableItem> unreadable{};
};

/// Queue items and their events in the database. A value that may be copied freely, but that must outlive the
/// operations awaited on it; statements run on the database's thread, one at a time. An operation of several
/// statements is not atomic: whoever must not interleave it with other changes orders those calls. Every
/// operation throws DatabaseError: SQLite's own, or missingColumn for a row that is no item or event.
class QueueRepository {
  public:
    explicit QueueRepository(std::shared_ptr<Database> database) : database_(std::move(database)) {}

    /// Told of an event once it is stored, and of the short id of its item's bug. Must not throw.
    using EventObserver = std::function<void(const QueueEvent& event, const std::string& bugID)>;

    /// The same repository, whose `appendEvent` tells the observer, on the awaiting coroutine's executor;
    /// copies do so, too.
    QueueRepository observedBy(EventObserver observer) const;

    /// Stores the bug's id in its short form. Does nothing, silently, when the bug is queued already.
    Task<void> insert(const BugQueueItem& item) const;

    /// Writes all but the bug's id, the app's id and the two times of origin. An unknown id changes nothing,
    /// silently.
    Task<void> update(const BugQueueItem& item) const;

    /// Updates one item after the other. An error stops at that item and keeps what was written before.
    Task<void> updateEach(std::vector<BugQueueItem> items) const;

    /// Nothing for an unknown id.
    Task<std::optional<BugQueueItem>> item(Uuid id) const;

    /// `bugID` in any written form.
    Task<std::optional<BugQueueItem>> item(std::string_view bugID) const;

    /// By mode (auto first), then position, then the time they were added.
    Task<std::vector<BugQueueItem>> items(QueueListing listing = {}) const;

    /// The same without the rows that are no items, which are told apart.
    Task<ReadableItems> readableItems(QueueListing listing = {}) const;

    /// Also removes the item's attempts and events. An unknown id is no error.
    Task<void> remove(Uuid id) const;

    /// One past the largest position among the mode's active items, whatever gaps lie below; 0 without any.
    Task<std::int64_t> nextPosition(QueueMode queueMode = QueueMode::automatic) const;

    /// Gives one mode's active items the positions 0, 1, 2, ... in listing order; items already in place are
    /// not written, and rows that are no items are left alone. An error stops the walk and keeps what was
    /// written before.
    Task<void> compactActiveQueuePositions(QueueMode queueMode) const;

    /// The same for the auto queue, then for the manual one.
    Task<void> compactActiveQueuePositions() const;

    /// Releases the items that waited for the application's mapping; they keep their positions.
    Task<void> markWaitingItemsQueued(std::string_view bundleID) const;

    /// Adds a line, with an id of its own, to the item's history. `kind` is the event's stored name,
    /// `message` a sentence for people, `metadataJSON` a JSON document that is stored as it stands. An
    /// unknown item fails with stepFailed.
    Task<void> appendEvent(const Uuid& itemID, std::string_view kind, std::string_view message,
                           const std::optional<Uuid>& sessionID,
                           const std::optional<std::string>& metadataJSON, Instant createdAt) const;

    /// Oldest first.
    Task<std::vector<QueueEvent>> events(Uuid itemID) const;

  private:
    Task<void> readRows(QueueListing listing, RowReader row) const;
    Task<std::optional<BugQueueItem>> firstItem(std::string sql, SQLValue value) const;

    Task<void> appendObserved(QueueEvent event) const;

    std::shared_ptr<Database> database_;
    EventObserver observer_;
};

}  // namespace quernlight
