#pragma once

#include <functional>
#include <string>
#include <vector>

#include "quernlight/git/git_command_result.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight {

/// Runs git with the given arguments. Whatever asks git something holds one of these, so that a test can put
/// another in its place.
using GitRunner = std::function<Task<GitCommandResult>(std::vector<std::string> arguments)>;

/// The runner that everything uses unless told otherwise: starts /usr/bin/git, in the caller's working
/// directory and without a shell, and awaits its end; there is no limit of time. Output that is not valid
/// UTF-8 counts as empty. A prompt for credentials fails, because git has neither a terminal nor an input.
///
/// Keeps no state and may run from several coroutines at once. Failures are values: a git that cannot be
/// started gives status 1 and the reason as the output. Only cancellation throws; it kills git.
Task<GitCommandResult> runGit(std::vector<std::string> arguments);

}  // namespace quernlight
