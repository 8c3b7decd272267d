#pragma once

#include "host/process/clock.hpp"
#include "host/process/process_tree.hpp"
#include "host/process/stop_request.hpp"
#include "host/settings/settings.hpp"
#include "quernlight/git/git_runner.hpp"

namespace quernlight::host {

/// Git that carries `mark` (see gitMarkOf) and never runs longer than the settings allow: git.fetch_seconds
/// for a fetch (or ls-remote), which waits for a far side that may never answer, git.command_seconds for all
/// else, which may wait for hooks and filters. A stop ends a fetch at once and another command
/// after a few seconds, for it should not leave a worktree half made; a kill ends any at once. Git is
/// ended with its process group and whatever else still runs of it, also when something else has killed it.
///
/// The result of a command that was ended is no success and says why. Unless it was a fetch this runner runs
/// no further one after it: who asked would take the missing answers for answers. Who reads values from
/// the results asks for `GitOutput::answer`. Borrows all for as long as it is used.
GitRunner gitWithTimeLimit(StopRequest& stop, Clock& clock, const Settings& settings, ProcessMark mark,
                           GitOutput output = GitOutput::combined);

/// Git that carries `mark` and runs no longer than git.command_seconds by default; for questions that are
/// answered at once. Cancelling who waits ends it.
GitRunner limitedGit(ProcessMark mark, GitOutput output = GitOutput::combined);

/// The status of a git that was ended by a signal. A status of 128 or 129 is git's own way to fail.
bool wasKilled(const GitCommandResult& result);

}  // namespace quernlight::host
