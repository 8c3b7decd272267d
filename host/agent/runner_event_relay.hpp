#pragma once

#include "host/agent/session_mailbox.hpp"
#include "host/screen/session_screen.hpp"
#include "quernlight/platform/event_stream.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/runner/runner_event.hpp"

namespace quernlight::host {

/// Turns a session's runner events into the session's until the agent has exited. Output goes to
/// the screen and is reduced to its last line at once, so that a flood is not kept in memory while the
/// session waits for something else.
Task<void> relayRunnerEvents(EventStream<RunnerEvent> events, SessionMailbox::Continuation mailbox,
                             SessionScreen& screen);

}  // namespace quernlight::host
