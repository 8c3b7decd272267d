#pragma once

#include <string>
#include <vector>

#include "host/service/configuration_operations.hpp"
#include "host/service/observation_operations.hpp"
#include "host/service/queue_operations.hpp"
#include "host/service/store_access.hpp"

namespace quernlight::host {

// The service's operations on an open store. They throw ServiceError where the request cannot be met, and
// DatabaseError.

/// All items: by queue (the automatic one first), then position.
Task<std::vector<QueueEntry>> queueEntries(DispatchStore store);
Task<QueueEntry> queueEntry(DispatchStore store, BugQueueItem item);

Task<QueueItemDetails> queueItemDetails(DispatchStore store, std::string bugID);
Task<BugState> bugState(DispatchStore store, std::string bugID);

/// Does what queueActionVerdict allows, and returns the item as it is then.
Task<QueueEntry> changeItem(OwnedStore owned, QueueChange change);

/// Throws the one that names the first part of the request that is empty, or that nobody could see.
void requireNames(const MappingRequest& request);

/// Checks the repository and its base branch, stores the mapping in place of the bundle's last one and
/// releases the bugs that waited for it. Returns it with resolved paths. Git runs as the home's own.
Task<AppMapping> storeMapping(OwnedStore owned, MappingRequest request);

/// The sessions that the store has as under way. Reads the end of their transcripts.
Task<std::vector<RunningSession>> runningSessions(DispatchStore store);

/// Without the pull requests, which are not stored.
Task<std::vector<ReviewItem>> reviewItems(DispatchStore store);

/// The bugs that need a person, and stored settings that are not heeded as alerts.
Task<HealthReport> storedHealth(DispatchStore store);

}  // namespace quernlight::host
