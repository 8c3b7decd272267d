#pragma once

#include <filesystem>

#include "standin/codex/goal.hpp"

namespace quernlight::standin::codex {

/// Adds a line to goals.log in the agent's home, "SESSION_ID QUEUE_ITEM_ID" as the goal spells them: the
/// agent's side of what was typed to it, for tests. Lines of several agents at once do not mix. Throws
/// std::runtime_error with a sentence.
void logGoal(const std::filesystem::path& home, const Goal& goal);

}  // namespace quernlight::standin::codex
