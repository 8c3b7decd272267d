#include "host/agent/agent_run.hpp"

#include <system_error>

#include <boost/asio/this_coro.hpp>

#include "host/agent/runner_event_relay.hpp"
#include "quernlight/platform/child_task.hpp"
#include "quernlight/runner/runner_error.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::milliseconds leftoverGrace{500};
constexpr std::chrono::seconds leftoverTimeout{2};

/// An agent that has exited in between, or whose terminal is gone, is not there to be asked.
Task<void> askToStop(CodexRunner& runner, Uuid sessionID, std::optional<TerminationMode> mode) {
    try {
        if (mode) {
            co_await runner.terminate(sessionID, *mode);
        } else {
            co_await runner.sendInput("\r", sessionID);
        }
    } catch (const RunnerError&) {
    } catch (const PTYProcessError&) {
    } catch (const std::system_error&) {
    }
}

}  // namespace

AgentRun::AgentRun(CodexRunner& runner, Clock& clock, Uuid sessionID, std::string name)
    : runner_(runner), clock_(clock), sessionID_(sessionID), name_(std::move(name)), tree_(sessionID_) {}

Task<StartSessionResponse> AgentRun::start(TaskSet& tasks, StartSessionRequest request) {
    tasks.add("relaying events of " + name_,
              relayRunnerEvents(runner_.events(sessionID_), mailbox_.continuation()));
    tree_.worksIn(request.repoPath);
    const StartSessionResponse started = co_await runner_.startSession(std::move(request));
    running_ = true;
    leader_ = processEntry(started.pid);
    if (leader_.pid > 0 && leader_.session == leader_.pid) {
        tree_.remember(leader_);
    }
    co_return started;
}

Task<std::optional<SessionEvent>> AgentRun::nextUntil(Clock::TimePoint deadline) {
    auto event = co_await mailbox_.nextUntil(clock_, deadline);
    const AgentExited* exited = event ? std::get_if<AgentExited>(&*event) : nullptr;
    if (exited) {
        running_ = false;
        exit_ = *exited;
    }
    co_return event;
}

void AgentRun::look() {
    if (running_) {
        tree_.look();
    }
}

Task<void> AgentRun::stop(Escalation escalation, EventHandler handler) {
    look();
    for (std::size_t step = 0; running_ && step < escalation().size(); ++step) {
        co_await escalate(step, escalation, handler);
    }
}

/// Asking takes its own time, for a terminal whose reader does not read takes no keys; timeout counts all
/// the same.
Task<void> AgentRun::escalate(std::size_t step, const Escalation& escalation, const EventHandler& handler) {
    ChildTask asking(co_await boost::asio::this_coro::executor, "stopping " + name_,
                     askToStop(runner_, sessionID_, escalation()[step].mode));
    co_await awaitExit(step, escalation, handler);
    co_await asking.end();
}

Task<void> AgentRun::awaitExit(std::size_t step, const Escalation& escalation, const EventHandler& handler) {
    const auto begun = clock_.steadyNow();
    while (running_ && clock_.steadyNow() < begun + escalation()[step].timeout) {
        auto event = co_await nextUntil(begun + escalation()[step].timeout);
        if (event) {
            co_await handler(std::move(*event));
        }
    }
}

Task<std::vector<ProcessEntry>> AgentRun::endLeftovers() {
    co_return co_await tree_.end(leftoverGrace, leftoverTimeout);
}

}  // namespace quernlight::host
