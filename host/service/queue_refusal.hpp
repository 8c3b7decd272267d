#pragma once

#include <optional>
#include <string>

#include "host/commands/queue_command.hpp"
#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight::host {

/// Why a command is not done to an item as it is now, in one clause that names the command for it; nothing
/// when it may be done. Work that has ended is begun again by `retry` alone, and work that was finished only
/// when a person says so (`again`).
std::optional<std::string> refusalOf(QueueAction action, const BugQueueItem& item, bool again);

}  // namespace quernlight::host
