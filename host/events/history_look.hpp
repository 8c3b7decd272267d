#pragma once

#include <optional>
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

/// The question of its agent's, or on its screen, that nothing in the history has answered: the bug has not
/// come further since, and no person has done anything. Empty when there is none.
std::string unansweredQuestion(const std::vector<QueueEvent>& history);

/// Whether what the bug asks after such an event is asked anew.
bool answersQuestions(EventKind kind);

/// A limit of the agents' use that has met the bug.
struct StatedLimit {
    Instant until{};
    std::string cause{};
    Instant toldAt{};

    bool operator==(const StatedLimit&) const = default;
};

/// That of the last event of its kind, if its end is known.
std::optional<StatedLimit> statedLimit(const std::vector<QueueEvent>& history);

/// What is stored with the event (agentBlocked) of such a limit.
std::string limitMetadata(Instant until);

/// The references at which work of its worktree was kept, oldest first.
std::vector<std::string> preservedReferences(const std::vector<QueueEvent>& history);

}  // namespace quernlight::host
