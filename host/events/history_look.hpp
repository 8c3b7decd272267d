#pragma once

#include <string>
#include <vector>

#include "host/events/event_kind.hpp"
#include "host/events/session_stage.hpp"

namespace quernlight::host {

// What an item's history, oldest first, tells. Pure.

/// The last event of that kind; null when there is none.
const QueueEvent* lastEvent(const std::vector<QueueEvent>& history, EventKind kind);

/// What a bug in that stage asks a person: the agent's own words where they are stored. Empty when it asks
/// nothing.
std::string questionOf(const std::vector<QueueEvent>& history, SessionStage stage);

/// The references at which work of its worktree was kept, oldest first.
std::vector<std::string> preservedReferences(const std::vector<QueueEvent>& history);

}  // namespace quernlight::host
