#pragma once

#include <string>

#include "host/store/dispatch_store.hpp"
#include "quernlight/queue/mapping_repository.hpp"

namespace quernlight::host {

/// Why the worktree of a merged bug must not be touched now, in one sentence; empty when it may go. Throws
/// DatabaseError.
Task<std::string> worktreeBlocker(DispatchStore store, BugQueueItem item, AppMapping mapping);

}  // namespace quernlight::host
