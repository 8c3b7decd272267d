#pragma once

#include <string_view>

#include "host/dispatch_store.hpp"
#include "quernlight/dispatch/queue_manager.hpp"

namespace quernlight::host {

/// Why an attempt failed that the dispatcher did not see to its end.
inline constexpr std::string_view interruptedReason = "Dispatcher stopped while the session was running.";

/// Settles what a dispatcher that ended without warning left in a live status: items whose completion had
/// been seen are completed, all others put back to be resumed, and their attempts told to have failed. Only
/// while no session runs. Returns how many items were settled.
Task<int> settleLiveItems(const DispatchStore& store, QueueManager& manager);

}  // namespace quernlight::host
