#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/agent/agent_reading.hpp"
#include "host/agent/agent_terminal.hpp"
#include "host/agent/output_timing.hpp"
#include "host/agent/session_mailbox.hpp"
#include "host/agent/stop_escalation.hpp"
#include "host/process/process_tree.hpp"
#include "host/process/task_set.hpp"
#include "host/screen/session_screen.hpp"
#include "quernlight/platform/background_executor.hpp"
#include "quernlight/runner/codex_runner.hpp"

namespace quernlight::host {

/// One launch of the agent: its events in one mailbox, its screen, its processes, and the way to stop it.
/// Owned by its session; used on one executor.
class AgentRun {
  public:
    /// `name` is for messages: "bug 3f2a9c1d".
    /// `drawing` is the thread on which the screen is drawn.
    AgentRun(CodexRunner& runner, BackgroundExecutor& drawing, Clock& clock, Uuid sessionID,
             std::string name);
    AgentRun(const AgentRun&) = delete;
    AgentRun& operator=(const AgentRun&) = delete;

    /// Ends the terminal for those who are attached.
    ~AgentRun();

    /// Its terminal has the size requested, or the nearest in which its screen can be read. Its events are
    /// relayed among `tasks`, which end before this does. Throws PTYProcessError; then nothing
    /// runs.
    Task<StartSessionResponse> start(TaskSet& tasks, StartSessionRequest request);

    bool isRunning() const { return running_; }
    const std::optional<AgentExited>& exit() const { return exit_; }

    /// What identifies the agent's own process; pid -1 when it ended before it was looked at.
    const ProcessEntry& leader() const { return leader_; }

    /// Where others put events for the session.
    SessionMailbox::Continuation mailbox() const { return mailbox_.continuation(); }

    Task<std::optional<SessionEvent>> nextUntil(Clock::TimePoint deadline);

    /// Its terminal; from the start on.
    const SessionScreen& screen() const { return *screen_; }
    const std::shared_ptr<AgentTerminal>& terminal() const { return terminal_; }

    /// Remembers the processes that the agent has started since.
    void look();

    using Escalation = std::function<StopEscalation()>;
    using EventHandler = std::function<Task<void>(SessionEvent)>;

    /// Runs the escalation until the agent has exited. The escalation is asked for anew at every step, and
    /// once more when a stop of the whole program is wished for meanwhile. Other events go to the handler.
    Task<void> stop(Escalation escalation, EventHandler handler);

    /// Ends what the agent has left behind, wherever it has gone; returns what could not be ended.
    Task<std::vector<ProcessEntry>> endLeftovers();

    /// What the agent has left behind now.
    std::vector<ProcessEntry> leftovers() const { return tree_.alive(); }

    /// Whether the process was seen to be of the agent's.
    bool hasProcess(const ProcessEntry& process) const { return tree_.knows(process); }

  private:
    void openScreen(TaskSet& tasks, TerminalSize size);
    void recordTiming(TaskSet& tasks, const std::filesystem::path& transcript);
    Task<void> sendAnswers();
    std::optional<AgentReading> reading() const;
    bool applies(StopAction action) const;
    Task<void> ask(StopAction action);
    Task<void> typeExit();
    Task<void> pressEnter();
    Task<void> escalate(std::size_t step, const Escalation& escalation, const EventHandler& handler);
    Task<void> awaitExit(std::size_t step, const Escalation& escalation, const EventHandler& handler);

    CodexRunner& runner_;
    BackgroundExecutor& drawing_;
    Clock& clock_;
    const Uuid sessionID_;
    const std::string name_;
    SessionMailbox mailbox_;
    std::shared_ptr<SessionScreen> screen_;
    std::shared_ptr<AgentTerminal> terminal_;
    std::optional<OutputTiming> timing_;
    std::string answers_;  // of the terminal to the agent's questions, not sent yet
    AsyncSignal answersToSend_;
    ProcessTree tree_;
    ProcessEntry leader_;
    std::optional<AgentExited> exit_;
    bool running_ = false;
};

}  // namespace quernlight::host
