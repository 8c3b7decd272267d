#pragma once

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight {

/// The active items of one queue mode in listing order, and the rule by which one of them changes its place:
/// nothing gets in front of the sessions under way at the head, and nothing under way is moved. A value for
/// one thread at a time; who stores it writes all its items.
class ActiveQueue {
  public:
    /// In listing order; their positions are not read.
    explicit ActiveQueue(std::vector<BugQueueItem> items) : items_(std::move(items)) {}

    /// Puts the item in front of `before`, or at the end when that is absent or not in the queue. Returns its
    /// new position, from 0, or nothing when the item is not there or may not be moved.
    std::optional<std::size_t> move(const Uuid& itemID, const std::optional<Uuid>& before);

    /// Puts the item directly behind the sessions under way. Returns as `move`.
    std::optional<std::size_t> moveNext(const Uuid& itemID);

    /// After a move they are numbered 0, 1, 2, ...
    const std::vector<BugQueueItem>& items() const { return items_; }

  private:
    std::optional<BugQueueItem> take(const Uuid& itemID);
    std::size_t place(BugQueueItem item, std::size_t target);
    std::size_t lockedHead() const;
    std::size_t indexOf(const Uuid& itemID) const;

    std::vector<BugQueueItem> items_;
};

}  // namespace quernlight
