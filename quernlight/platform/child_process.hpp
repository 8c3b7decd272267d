#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "quernlight/platform/task.hpp"

namespace quernlight {

struct ChildProcessRequest {
    std::filesystem::path executable;        ///< started as it is; no search of PATH
    std::vector<std::string> arguments;      ///< what follows the program's name
    std::vector<std::string> environment;    ///< "KEY=value" entries; nothing is inherited besides
    std::filesystem::path workingDirectory;  ///< empty: the caller's
    bool keepsErrorsApart = false;           ///< standard error is not mixed into the output
    bool dropsOutput = false;                ///< nothing that it prints is kept
    std::string input{};                     ///< what it reads; 16 KiB at most, which a pipe holds
};

struct ChildProcessResult {
    int exitCode = 0;      ///< the normal exit status, or 128 plus the number of the signal that ended it
    std::string output;    ///< standard output and standard error, in the order in which they were written
    std::string errors{};  ///< standard error alone, where it was kept apart and is not in the output

    bool operator==(const ChildProcessResult&) const = default;
};

/// Runs a program to its end and collects what it prints, reading while it runs, so that it never waits for a
/// full pipe. It leads a session of its own, without a terminal, and reads its input or, without one,
/// /dev/null. A process that it leaves behind with the pipe still open delays the result by a few seconds at
/// most.
///
/// Several may run at once, from any executor. Cancelling the awaiting coroutine ends the program's process
/// group (SIGTERM, and SIGKILL after a second) and reaps the program before the coroutine goes on with
/// `operation_aborted`; cancel on the coroutine's own thread. Throws std::system_error when the program
/// cannot be started or its input is too long and, as "no child process", when its exit status is lost,
/// because SIGCHLD is ignored or somebody else has reaped it: what it came to is not known then, and never a
/// success.
Task<ChildProcessResult> runChildProcess(ChildProcessRequest request);

}  // namespace quernlight
