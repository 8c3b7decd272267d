#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

#include "standin/codex/goal.hpp"

namespace quernlight::standin::codex {

/// Adds a line to goals.log in the agent's home, "SESSION_ID QUEUE_ITEM_ID" as the goal spells them: the
/// agent's side of what was typed to it, for tests. Lines of several agents at once do not mix. Throws
/// std::runtime_error with a sentence.
void logGoal(const std::filesystem::path& home, const Goal& goal);

/// Adds a line with the bug's id to starts.log there and tells how many such lines there were before. Throws
/// std::runtime_error with a sentence.
std::size_t logStart(const std::filesystem::path& home, const std::string& bugID);

}  // namespace quernlight::standin::codex
