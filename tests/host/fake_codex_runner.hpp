#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/process/clock.hpp"
#include "quernlight/runner/codex_runner.hpp"
#include "quernlight/runner/initial_input_observer.hpp"
#include "quernlight/runner/runner_error.hpp"

namespace quernlight::host::test {

/// A runner of one agent that does what the test says, without a process or a terminal. Used on one executor.
class FakeCodexRunner final : public CodexRunner {
  public:
    /// No process of any system has this number.
    static constexpr std::int32_t pid = 1 << 30;

    FakeCodexRunner(InitialInputObserver& observer, const Clock& clock)
        : observer_(observer), clock_(clock) {}

    // What the agent is like.

    void refuseToStart() { refuses_ = true; }

    /// It ends with this code on that step of a stop: "requestExitCommand", "enter",
    /// "interrupt", "terminate", "kill". Without it no step ends it.
    void endOn(std::string step, int exitCode = 0) {
        endsOn_ = std::move(step);
        codeOnStop_ = exitCode;
    }

    // What it does.

    /// Its prompt is ready, and the goal is typed.
    Task<void> typeGoal() {
        const Uuid session = request.value().sessionID;
        co_await observer_.aboutToType(session);
        observer_.typed(session);
    }
    void write(std::string bytes) {
        events_.value().deliver(RunnerEvent::Output{
            .sessionID = request.value().sessionID, .bytes = std::move(bytes), .date = clock_.now()});
    }
    void exit(int code) {
        isRunning = false;
        events_.value().deliver(RunnerEvent::Exited{
            .sessionID = request.value().sessionID, .exitCode = code, .date = clock_.now()});
        events_.value().finish();
    }

    // What it was asked.

    std::optional<StartSessionRequest> request;
    bool isRunning = false;
    std::vector<std::pair<std::string, Clock::TimePoint>> steps;  // of its stop, and when

    Task<StartSessionResponse> startSession(StartSessionRequest asked) override {
        if (refuses_) {
            throw PTYProcessError::processLaunchFailed("Exec format error");
        }
        request = std::move(asked);
        isRunning = true;
        events_.value().deliver(
            RunnerEvent::Started{.sessionID = request->sessionID, .pid = pid, .date = clock_.now()});
        observer_.waiting(request->sessionID);
        co_return StartSessionResponse{
            .sessionID = request->sessionID, .pid = pid, .startedAt = clock_.now()};
    }
    Task<void> sendInput(std::string, Uuid sessionID) override {
        take("enter", sessionID);
        co_return;
    }
    Task<void> resize(Uuid, int, int) override { co_return; }
    Task<void> terminate(Uuid sessionID, TerminationMode mode) override {
        take(std::string(rawValue(mode)), sessionID);
        co_return;
    }
    Task<std::vector<RunnerSessionSnapshot>> activeSessions() override {
        co_return std::vector<RunnerSessionSnapshot>{};
    }
    EventStream<RunnerEvent> events(Uuid) override {
        EventStream<RunnerEvent> stream;
        events_ = stream.continuation();
        return stream;
    }

  private:
    void take(const std::string& step, const Uuid& sessionID) {
        if (!isRunning) {
            throw RunnerError::missingSession(sessionID);
        }
        steps.emplace_back(step, clock_.steadyNow());
        if (step == endsOn_) {
            exit(codeOnStop_);
        }
    }

    InitialInputObserver& observer_;
    const Clock& clock_;
    bool refuses_ = false;
    std::string endsOn_;
    int codeOnStop_ = 0;
    std::optional<EventStream<RunnerEvent>::Continuation> events_;
};

}  // namespace quernlight::host::test
