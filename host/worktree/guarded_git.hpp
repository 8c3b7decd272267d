#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "quernlight/git/git_runner.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// The options by which git runs no program in a worktree that an agent can have written: no hooks, which a
/// relative core.hooksPath looks for there, no monitor of its files, no check of signatures, no merge driver
/// (what one would merge counts as a conflict), and of the filters only well-known ones of the system.
/// Both are what git-config(1) prints of them with --get-regexp. Pure.
std::vector<std::string> guardOptions(std::string_view filters, std::string_view drivers = "");

/// The same git with these options before its own, once the repository's settings are known. Both run it.
Task<GitRunner> guarded(GitRunner git, std::string repository);

/// The same, whose first command asks for the settings.
GitRunner guardedLater(GitRunner git, std::string repository);

}  // namespace quernlight::host
