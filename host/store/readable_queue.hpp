#pragma once

#include <set>
#include <string>
#include <vector>

#include "host/store/dispatch_store.hpp"

namespace quernlight::host {

/// The items of the queue. Rows that are none are left alone and out: one of them must not hold up the
/// others.
Task<std::vector<BugQueueItem>> readableItems(DispatchStore store, QueueListing listing = {});

/// The short ids of every bug that the queue holds, finished ones included, and of those that were retired.
Task<std::set<std::string>> knownBugIDs(DispatchStore store);

/// What is the matter with a row that is none, and what to do about it.
std::string describe(const UnreadableItem& row);

}  // namespace quernlight::host
