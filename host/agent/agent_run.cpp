#include "host/agent/agent_run.hpp"

#include <system_error>
#include <utility>

#include <boost/asio/this_coro.hpp>

#include "host/agent/runner_event_relay.hpp"
#include "quernlight/platform/child_task.hpp"
#include "quernlight/runner/runner_error.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::milliseconds leftoverGrace{500};
constexpr std::chrono::seconds leftoverTimeout{2};

constexpr std::string_view exitCommand = "/exit";
/// An agent takes keys that come together for pasted text, in which Enter is a line end.
constexpr std::chrono::milliseconds pauseBeforeEnter{350};
constexpr std::chrono::milliseconds echoInterval{50};
constexpr int echoLooks = 60;
constexpr std::size_t mostAnswers = 4096;  // in bytes; what an agent asks beyond that it does not get

/// Into a question or behind a draft it would be something else.
bool mayTypeExit(const AgentReading& reading) {
    return reading.activity.state != AgentState::dialog &&
           (!reading.composer || reading.composer->text.empty());
}

TerminationMode modeOf(StopAction action) {
    switch (action) {
        case StopAction::interrupt:
            return TerminationMode::interrupt;
        case StopAction::terminate:
            return TerminationMode::terminate;
        default:
            return TerminationMode::kill;
    }
}

}  // namespace

AgentRun::AgentRun(CodexRunner& runner, BackgroundExecutor& drawing, Clock& clock, Uuid sessionID,
                   std::string name)
    : runner_(runner),
      drawing_(drawing),
      clock_(clock),
      sessionID_(sessionID),
      name_(std::move(name)),
      tree_(sessionID_) {}

AgentRun::~AgentRun() {
    if (terminal_) {
        terminal_->end(std::nullopt);
    }
}

Task<StartSessionResponse> AgentRun::start(TaskSet& tasks, StartSessionRequest request) {
    const TerminalSize size = readableSize({.columns = request.columns, .rows = request.rows});
    request.columns = size.columns;
    request.rows = size.rows;
    openScreen(tasks, size);
    recordTiming(tasks, request.transcriptANSIPath);
    tasks.add("relaying events of " + name_,
              relayRunnerEvents(runner_.events(sessionID_), mailbox_.continuation(), terminal_));
    tree_.worksIn(request.repoPath);
    const StartSessionResponse started = co_await runner_.startSession(std::move(request));
    running_ = true;
    leader_ = processEntry(started.pid);
    if (leader_.pid > 0 && leader_.session == leader_.pid) {
        tree_.remember(leader_);
    }
    co_return started;
}

void AgentRun::openScreen(TaskSet& tasks, TerminalSize size) {
    const auto answer = [this](const std::string& answers) {
        if (answers_.size() < mostAnswers) {
            answers_ += answers;
            answersToSend_.notify();
        }
    };
    const auto drawn = [this] { terminal_->drawn(); };
    screen_ = std::make_shared<SessionScreen>(drawing_, size,
                                              SessionScreen::Observer{.answers = answer, .drawn = drawn});
    terminal_ = std::make_shared<AgentTerminal>(runner_, clock_, sessionID_, screen_, size);
    tasks.add("following the size of the terminal of " + name_, terminal_->followSize());
    tasks.add("having the agent of " + name_ + " draw anew", terminal_->keepWhole());
    tasks.add("drawing the screen of " + name_, screen_->run());
    tasks.add("answering the questions that the terminal of " + name_ + " is asked", sendAnswers());
}

void AgentRun::recordTiming(TaskSet& tasks, const std::filesystem::path& transcript) {
    if (!transcript.empty()) {
        timing_.emplace(*terminal_, clock_, drawing_, timingFileOf(transcript));
        tasks.add("recording when " + name_ + " wrote what", timing_->run());
    }
}

/// One after the other: an agent that asks and does not read holds up nothing else.
Task<void> AgentRun::sendAnswers() {
    while (true) {
        co_await answersToSend_.wait();
        std::string answers = std::exchange(answers_, {});
        try {
            co_await runner_.sendInput(std::move(answers), sessionID_);
        } catch (const RunnerError&) {
        } catch (const PTYProcessError&) {
        } catch (const std::system_error& error) {
            if (error.code() == std::errc::operation_canceled) {
                throw;
            }
        }
    }
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
        if (applies(escalation()[step].action)) {
            co_await escalate(step, escalation, handler);
        }
    }
}

/// Of the screen as it is now; nothing while it shows less than the agent has written, on which no key is
/// decided.
std::optional<AgentReading> AgentRun::reading() const {
    const auto picture = screen_->pictureOfAll();
    return picture && !picture->beingDrawn ? std::optional(readAgent(*picture)) : std::nullopt;
}

/// Where the screen cannot tell yet, the step itself waits until it does.
bool AgentRun::applies(StopAction action) const {
    const auto screen = reading();
    switch (action) {
        case StopAction::typeExit:
            return !screen || mayTypeExit(*screen);
        case StopAction::pressEnter:
            return !screen || screen->hasTyped(exitCommand);
        default:
            return true;
    }
}

/// An agent that has exited in between, or whose terminal is gone, is not there to be asked.
Task<void> AgentRun::ask(StopAction action) {
    try {
        switch (action) {
            case StopAction::typeExit:
                co_await typeExit();
                break;
            case StopAction::pressEnter:
                co_await pressEnter();
                break;
            default:
                co_await runner_.terminate(sessionID_, modeOf(action));
        }
    } catch (const RunnerError&) {
    } catch (const PTYProcessError&) {
    } catch (const std::system_error&) {
    }
}

/// An agent may show no composer for a moment, and what a person types comes first.
Task<void> AgentRun::typeExit() {
    for (auto screen = reading(); !screen || !screen->isComposerEmpty() || terminal_->isPersonTyping();
         screen = reading()) {
        co_await clock_.sleepFor(echoInterval);
    }
    co_await runner_.sendInput(std::string(exitCommand), sessionID_);
    co_await clock_.sleepFor(pauseBeforeEnter);
    co_await pressEnter();
}

/// Once the composer shows the command.
Task<void> AgentRun::pressEnter() {
    for (int look = 0; look < echoLooks; ++look) {
        const auto screen = reading();
        if (screen && screen->hasTyped(exitCommand) && !terminal_->isPersonTyping()) {
            co_return co_await runner_.sendInput("\n", sessionID_);
        }
        co_await clock_.sleepFor(echoInterval);
    }
}

/// Asking takes its own time, for a terminal whose reader does not read takes no keys; timeout counts all
/// the same.
Task<void> AgentRun::escalate(std::size_t step, const Escalation& escalation, const EventHandler& handler) {
    ChildTask asking(co_await boost::asio::this_coro::executor, "stopping " + name_,
                     ask(escalation()[step].action));
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
