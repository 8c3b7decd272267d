#pragma once

#include <string>

#include "host/doctor/examination.hpp"
#include "quernlight/git/git_command_result.hpp"

namespace quernlight::host {

Task<Findings> checkGit(const Examined& examined);

/// One finding a mapping, or more: by the check that `map set` makes, and whether work can go in and out.
Task<Findings> checkMappings(const Examined& examined);

/// What "git --version" has answered. `worktree list -z` came with 2.36 and tells which worktrees there are;
/// `merge-tree --write-tree` came with 2.38 and tells whether squashed work is merged.
Finding gitFinding(const GitCommandResult& answer);

}  // namespace quernlight::host
