#pragma once

#include <vector>

#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight::host {

/// What a person wants of an item once its session has ended, or is reconciled.
enum class StandingWish { none, hold, cancel };

/// The last wish of the item's history (oldest first) that is neither granted yet nor overtaken by what came
/// after it. It is stored before anything is done about it, so that whoever reconciles the item finds it.
StandingWish standingWish(const std::vector<QueueEvent>& events);

/// Whether the item is in the manual queue only because its session was stopped.
bool wasHeldByStop(const std::vector<QueueEvent>& events);

}  // namespace quernlight::host
