#pragma once

#include "host/service/store_access.hpp"
#include "host/store/list_range.hpp"
#include "host/worktree/git_slots.hpp"
#include "host/worktree/preserved_work.hpp"

namespace quernlight::host {

// What was kept of worktrees that went: the service's operations. Git runs as the home's own.

/// All of it, the newest first, not measured.
Task<PreservedList> keptWorks(StoreAccess& access, GitSlots& slots);

Task<PreservedList> listPreserved(StoreAccess& access, GitSlots& slots, ListRange range);
Task<PreservedDetails> showPreserved(StoreAccess& access, GitSlots& slots, std::string name);
Task<RestoredWork> restore(StoreAccess& access, GitSlots& slots, RestoreRequest request);

/// The one that is meant by a reference, by a name, or by the beginning of a bug's id. Throws ServiceError
/// that names those that could be meant. Pure.
PreservedWork preservedNamed(const std::vector<PreservedWork>& works, const std::string& name);

}  // namespace quernlight::host
