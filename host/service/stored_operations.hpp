#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/service/bug_operations.hpp"
#include "host/service/configuration_operations.hpp"
#include "host/service/live_sources.hpp"
#include "host/service/observation_operations.hpp"
#include "host/service/queue_operations.hpp"
#include "host/service/store_access.hpp"

namespace quernlight::host {

// The service's operations on an open store. They throw ServiceError where the request cannot be met, and
// DatabaseError.

Task<QueueList> queueList(DispatchStore store);
Task<QueueEntry> queueEntry(DispatchStore store, BugQueueItem item);

Task<QueueItemDetails> queueItemDetails(DispatchStore store, std::string bugID);
Task<BugState> bugState(DispatchStore store, std::string bugID);

/// What a change of an item needs beside the store.
struct ItemUses {
    /// Who works on an item in this process; empty where no dispatcher runs in it.
    std::function<ItemWork(const Uuid& itemID)> workOn{};

    /// See LiveSources; may be empty.
    std::function<ItemClaim(const Uuid& itemID)> claim{};

    /// Finds out what the item's last session has come to. Nothing once that is done; otherwise why it has to
    /// wait, in one sentence.
    std::function<Task<std::string>(OwnedStore owned, BugQueueItem item)> reconcile{};
};

/// Does what queueActionVerdict allows, and returns the item as it is then; one that was removed, as it was,
/// and one that is to be held or cancelled once it is reconciled, as it is still.
Task<QueueEntry> changeItem(OwnedStore owned, QueueChange change, ItemUses uses);

/// Reconciles an item of a home that no dispatcher runs for: ends what is left of its agent, asks the backend
/// that the bug comes from, and grants what a person wishes. As ItemUses::reconcile. While the backend is
/// asked others may own the home; `busy` when one has it then, or has changed the item.
Task<std::string> reconcileUnattended(StoreAccess& access, OwnedStore owned, BackendAccess backend,
                                      BugQueueItem item);

/// The item of a bug whose id, or the beginning of it, is this and no other's.
Task<BugQueueItem> itemNamed(DispatchStore store, std::string bugID);

/// Throws the one that names the first part of the request that is empty, or that nobody could see.
void requireNames(const MappingRequest& request);

/// The mapping with resolved paths, once repository, base branch and worktrees are found to be of use.
/// Throws ServiceError otherwise; changes nothing. Git runs as the home's own.
Task<AppMapping> checkedMapping(std::filesystem::path home, MappingRequest request);

/// Stores the mapping in place of the bundle's last one and releases the bugs that waited for it.
Task<void> storeMapping(OwnedStore owned, AppMapping mapping);

/// Forgets the mapping, and returns it. Refused while a session works for the app.
Task<AppMapping> removeMapping(OwnedStore owned, std::string bundleID, ItemUses uses);

/// Each mapping, with what keeps it from being used now. Git runs as the home's own.
Task<std::vector<MappingCheck>> checkMappings(std::filesystem::path home, DispatchStore store);

/// The sessions that the store has as under way. Reads the end of their transcripts.
Task<std::vector<RunningSession>> runningSessions(DispatchStore store);

/// Without the pull requests, which are not stored.
Task<std::vector<ReviewItem>> reviewItems(DispatchStore store);

/// The bugs that need a person, and stored settings that are not heeded as alerts.
Task<HealthReport> storedHealth(DispatchStore store);

}  // namespace quernlight::host
