#include "host/session/agent_run.hpp"

#include <system_error>

#include <boost/asio/this_coro.hpp>

#include "host/session/runner_event_relay.hpp"
#include "quernlight/runner/pty_process_error.hpp"
#include "quernlight/runner/runner_error.hpp"

namespace quernlight::host {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds leftoverGrace{500};
constexpr std::chrono::seconds leftoverPatience{2};

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

AgentRun::AgentRun(CodexRunner& runner, Uuid sessionID, std::string name)
    : runner_(runner), sessionID_(sessionID), name_(std::move(name)), tree_(sessionID_) {}

Task<StartSessionResponse> AgentRun::start(StartSessionRequest request) {
    const auto executor = co_await boost::asio::this_coro::executor;
    relay_ =
        std::make_unique<ChildTask>(executor, "relaying events of " + name_,
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

Task<std::optional<SessionNews>> AgentRun::nextUntil(steady_clock::time_point deadline) {
    auto news = co_await mailbox_.nextUntil(deadline);
    const AgentExited* exited = news ? std::get_if<AgentExited>(&*news) : nullptr;
    if (exited) {
        running_ = false;
        exit_ = *exited;
    }
    co_return news;
}

void AgentRun::look() {
    if (running_) {
        tree_.look();
    }
}

Task<void> AgentRun::stop(Ladder ladder, NewsHandler handler) {
    look();
    for (std::size_t rung = 0; running_ && rung < ladder().size(); ++rung) {
        co_await climb(rung, ladder, handler);
    }
}

/// Asking takes its own time, for a terminal whose reader does not read takes no keys; patience counts all
/// the same.
Task<void> AgentRun::climb(std::size_t rung, const Ladder& ladder, const NewsHandler& handler) {
    ChildTask asking(co_await boost::asio::this_coro::executor, "stopping " + name_,
                     askToStop(runner_, sessionID_, ladder()[rung].mode));
    co_await awaitExit(rung, ladder, handler);
    co_await asking.end();
}

Task<void> AgentRun::awaitExit(std::size_t rung, const Ladder& ladder, const NewsHandler& handler) {
    const auto begun = steady_clock::now();
    while (running_ && steady_clock::now() < begun + ladder()[rung].patience) {
        auto news = co_await nextUntil(begun + ladder()[rung].patience);
        if (news) {
            co_await handler(std::move(*news));
        }
    }
}

Task<std::vector<ProcessEntry>> AgentRun::endLeftovers() {
    co_return co_await tree_.end(leftoverGrace, leftoverPatience);
}

Task<void> AgentRun::end() {
    if (relay_) {
        co_await relay_->end();
    }
}

}  // namespace quernlight::host
