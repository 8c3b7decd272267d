#pragma once

#include "host/worktree/work_preserver.hpp"

namespace quernlight::host {

/// What preserveWork would keep of a worktree, in words: "3 changed files and 2 commits that no remote has".
/// Empty for nothing. Only reads; says so where that cannot be told.
Task<std::string> preservingOutlook(WorktreeToPreserve worktree, GitRunner ask);

}  // namespace quernlight::host
