#pragma once

#include <vector>

#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight::host {

/// Whether a person has asked for a start that has not been made yet: after the last "startRequested" event
/// of the item's history (oldest first) no session was begun, or the one that was is to be resumed.
bool startIsRequested(const std::vector<QueueEvent>& events);

}  // namespace quernlight::host
