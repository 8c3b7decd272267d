#pragma once

#include "host/agent/agent_terminal.hpp"
#include "host/agent/session_mailbox.hpp"
#include "quernlight/platform/event_stream.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/runner/runner_event.hpp"

namespace quernlight::host {

/// Turns a session's runner events into the session's until the agent has exited. Output goes to
/// the terminal and is reduced to its last line at once, so that a flood is not kept in memory while the
/// session waits for something else. What has come meanwhile is taken together, and the loop has its turn
/// after each time, so that the cost of a flood is that of its bytes and it holds up nobody.
Task<void> relayRunnerEvents(EventStream<RunnerEvent> events, SessionMailbox::Continuation mailbox,
                             std::shared_ptr<AgentTerminal> terminal);

}  // namespace quernlight::host
