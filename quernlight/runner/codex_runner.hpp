#pragma once

#include <string>
#include <vector>

#include "quernlight/platform/event_stream.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/runner/runner_event.hpp"
#include "quernlight/runner/start_session_request.hpp"
#include "quernlight/runner/termination_mode.hpp"

namespace quernlight {

/// The only door through which agent sessions are driven. Operations may be called from any thread and run
/// on the executor of the awaiting coroutine.
class CodexRunner {
  public:
    virtual ~CodexRunner() = default;

    /// Launches the session's child and returns once it runs, after `started` was delivered; the initial
    /// input is typed later by itself. Throws PTYProcessError, and then there is no session and no event.
    virtual Task<StartSessionResponse> startSession(StartSessionRequest request) = 0;

    /// Types the bytes (a line feed is the Enter key) and returns when the terminal has taken them all.
    /// Throws RunnerError when there is no such session, PTYProcessError when it ends meanwhile,
    /// std::system_error when the terminal refuses them. Cancelling ends the wait; bytes that were accepted
    /// are still typed.
    virtual Task<void> sendInput(std::string data, Uuid sessionID) = 0;

    /// The same of what a person's terminal has sent: every byte is copied, so that Enter (a carriage return)
    /// and Ctrl-J (a line feed) stay two keys.
    virtual Task<void> sendKeys(std::string bytes, Uuid sessionID) = 0;

    /// Sets the terminal's size in characters; less than 1 counts as 1, more than 65535 stops the program.
    /// Throws RunnerError when there is no such session, PTYProcessError when it ends meanwhile.
    virtual Task<void> resize(Uuid sessionID, int columns, int rows) = 0;

    /// Asks the session to stop and returns without waiting for the exit. Throws RunnerError when there is no
    /// such session; the exit command, which is typed, also what `sendInput` throws.
    virtual Task<void> terminate(Uuid sessionID, TerminationMode mode) = 0;

    /// The sessions whose children run, in no particular order. Throws nothing of its own.
    virtual Task<std::vector<RunnerSessionSnapshot>> activeSessions() = 0;

    /// Every event of the session from now on; it ends after `exited`. Subscribe before startSession to see
    /// `started`; nothing is replayed. Events wait in the stream without bound until they are read;
    /// destroying it ends the subscription.
    virtual EventStream<RunnerEvent> events(Uuid sessionID) = 0;
};

}  // namespace quernlight
