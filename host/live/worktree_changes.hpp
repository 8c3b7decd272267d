#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// Where a bug is worked on.
struct ChangedWorktree {
    std::string worktree{};
    std::string repository{};
    std::string baseBranch{};
};

/// What a worktree has changed since it left its base, as lines: a summary, and unless that is too much, the
/// changes themselves. Only reads, and runs no program that an agent may have written. `home` marks its gits.
/// Throws UserError where git cannot tell.
Task<std::vector<std::string>> changesIn(std::filesystem::path home, ChangedWorktree place);

}  // namespace quernlight::host
