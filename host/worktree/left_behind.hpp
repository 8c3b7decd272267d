#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace quernlight::host {

// Commits that only what git keeps for a worktree alone names: its log of HEAD (amended, reset away, a
// detached HEAD left behind), an interrupted merge, rebase or bisection, references of its own.

/// Every object that a text names in full. Pure.
void collectObjectNames(std::string_view text, std::set<std::string>& names);

/// Every object that a file in a worktree's administrative directory names, what was fetched and the index
/// left out. Throws std::filesystem::filesystem_error.
std::set<std::string> objectNamesIn(const std::filesystem::path& own);

/// Of what `git rev-list --parents` prints the commits that no other one there has for a parent. Pure.
std::vector<std::string> tipsOf(std::string_view printed);

}  // namespace quernlight::host
