#include "quernlight/dispatch/active_queue.hpp"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace quernlight {

std::optional<std::size_t> ActiveQueue::move(const Uuid& itemID, const std::optional<Uuid>& before) {
    auto item = take(itemID);
    if (!item) {
        return std::nullopt;
    }
    return place(std::move(*item), before ? indexOf(*before) : items_.size());
}

std::optional<std::size_t> ActiveQueue::moveNext(const Uuid& itemID) {
    auto item = take(itemID);
    if (!item) {
        return std::nullopt;
    }
    return place(std::move(*item), 0);
}

std::optional<BugQueueItem> ActiveQueue::take(const Uuid& itemID) {
    const std::size_t index = indexOf(itemID);
    if (index == items_.size() || isReorderLocked(items_[index].status)) {
        return std::nullopt;
    }
    BugQueueItem item = std::move(items_[index]);
    items_.erase(std::next(items_.begin(), static_cast<std::ptrdiff_t>(index)));
    return item;
}

std::size_t ActiveQueue::place(BugQueueItem item, std::size_t target) {
    const std::size_t index = std::max(lockedHead(), target);
    items_.insert(std::next(items_.begin(), static_cast<std::ptrdiff_t>(index)), std::move(item));
    std::int64_t position = 0;
    for (BugQueueItem& numbered : items_) {
        numbered.queuePosition = position++;
    }
    return index;
}

std::size_t ActiveQueue::lockedHead() const {
    const auto isFree = [](const BugQueueItem& item) { return !isReorderLocked(item.status); };
    const auto firstFree = std::find_if(items_.begin(), items_.end(), isFree);
    return static_cast<std::size_t>(std::distance(items_.begin(), firstFree));
}

std::size_t ActiveQueue::indexOf(const Uuid& itemID) const {
    const auto found = std::find_if(items_.begin(), items_.end(),
                                    [&](const BugQueueItem& item) { return item.id == itemID; });
    return static_cast<std::size_t>(std::distance(items_.begin(), found));
}

}  // namespace quernlight
