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
/// directory and without a shell, and awaits its end; there is no limit of time. The caller's environment is
/// inherited, but for what would change an answer. Output that is not valid UTF-8 counts as empty. A prompt
/// for credentials fails, because git has neither a terminal nor an input.
///
/// Keeps no state and may run from several coroutines at once. Failures are values, with the reason as the
/// output: a git that cannot be started gives status 1, one whose exit status is lost (SIGCHLD is ignored, or
/// somebody else has reaped it) a negative one. Only cancellation throws; it kills git.
Task<GitCommandResult> runGit(std::vector<std::string> arguments);

/// What a result's output holds.
enum class GitOutput {
    combined,  ///< all that git printed, in the order in which it was written
    answer,    ///< of a git that succeeds, standard output alone; of one that fails, standard error behind it
};

/// As `runGit`, but of the caller's environment git and what it starts, hooks above all, get only what they
/// need, and these variables ("NAME=value") besides. Who reads values from the output asks for `answer`, in
/// which there are no warnings.
GitRunner runGitWith(std::vector<std::string> variables, GitOutput output = GitOutput::combined);

}  // namespace quernlight
