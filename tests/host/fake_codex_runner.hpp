#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/agent/goal_records.hpp"
#include "host/process/clock.hpp"
#include "host/screen/session_screen.hpp"
#include "quernlight/runner/codex_runner.hpp"
#include "quernlight/runner/initial_input_delivery.hpp"
#include "quernlight/runner/runner_error.hpp"

namespace quernlight::host::test {

/// A runner of one agent that does what the test says, without a process or a terminal: it has a screen with
/// a composer, and records of goals. Used on one executor.
class FakeCodexRunner final : public CodexRunner {
  public:
    /// No process of any system has this number.
    static constexpr std::int32_t pid = 1 << 30;

    FakeCodexRunner(InitialInputDelivery& delivery, const Clock& clock)
        : delivery_(delivery), clock_(clock) {}

    // What the agent is like.

    void refuseToStart() { refuses_ = true; }

    /// It ends with this code on that step of a stop: "enter" (after "/exit"), "interrupt", "terminate",
    /// "kill". Without it no step ends it, and "/exit" stays where it is.
    void endOn(std::string step, int exitCode = 0) {
        endsOn_ = std::move(step);
        codeOnStop_ = exitCode;
    }

    // What it does.

    /// Its prompt is ready, so that the goal can be typed.
    void showPrompt() {
        write("\x1b[?2004h\x1b]0;shop\x07");
        draw();
        delivery_.deliver(request.value().sessionID, request->initialInput);
    }
    /// Something else stands on its screen from now on, and it takes no keys.
    void showInstead(const std::string& screen) {
        covered_ = screen;
        draw();
    }
    void showAgain() {
        covered_.clear();
        draw();
    }
    /// It writes that above its composer.
    void say(const std::string& text) {
        said_ = text;
        draw();
    }
    void write(std::string bytes) {
        events_.value().deliver(RunnerEvent::Output{
            .sessionID = request.value().sessionID, .bytes = std::move(bytes), .date = clock_.now()});
    }
    /// It writes more than is drawn, and its screen in the end, though without erasing what stood there.
    void flood() {
        write(std::string(SessionScreen::mostBacklog, '.') + "\x1b[H" +
              std::string(SessionScreen::mostBacklog / 8, '.') + "\x1b[H\x1b[K");
        write(covered_.empty() ? "\u203A \x1b[K" : "\x1b[?25l" + withLineEnds(covered_) + "\x1b[K");
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
    std::vector<std::string> goals;                               // that were submitted
    bool takesGoals = true;                                       // else they stay in its composer
    int enters = 0;                                               // that it got behind a goal
    bool works = true;                                            // on its goal, once it has one
    std::vector<std::pair<int, int>> sizes;                       // that its terminal got, columns first
    bool drawsAnew = true;                                        // when its terminal gets another size
    std::string keysWhileCovered;                 // that came while something else stood there
    std::size_t cutsGoalsAt = std::string::npos;  // as an agent does that takes keys late

    GoalRecord recordOf(const std::string& objective) const {
        if (goals.empty()) {
            return {.match = GoalMatch::absent};
        }
        return {.match = goals.back() == objective ? GoalMatch::whole : GoalMatch::part};
    }

    Task<StartSessionResponse> startSession(StartSessionRequest asked) override {
        if (refuses_) {
            throw PTYProcessError::processLaunchFailed("Exec format error");
        }
        request = std::move(asked);
        isRunning = true;
        events_.value().deliver(
            RunnerEvent::Started{.sessionID = request->sessionID, .pid = pid, .date = clock_.now()});
        co_return StartSessionResponse{
            .sessionID = request->sessionID, .pid = pid, .startedAt = clock_.now()};
    }
    Task<void> sendInput(std::string data, Uuid sessionID) override {
        if (!isRunning) {
            throw RunnerError::missingSession(sessionID);
        }
        if (covered_.empty()) {
            type(data);
        } else {
            keysWhileCovered += data;
        }
        co_return;
    }
    Task<void> sendKeys(std::string bytes, Uuid sessionID) override {
        return sendInput(std::move(bytes), sessionID);
    }
    Task<void> resize(Uuid, int columns, int rows) override {
        sizes.emplace_back(columns, rows);
        if (isRunning && drawsAnew) {
            draw();
        }
        co_return;
    }
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
    void type(const std::string& data) {
        if (data != "\n") {
            draft_ += withoutPasteMarks(data);
            if (draft_ == "/exit") {
                steps.emplace_back("exit", clock_.steadyNow());
            }
        } else if (draft_ == "/exit") {
            take("enter", request->sessionID);
        } else if (draft_.starts_with("/goal ") && ++enters > 0 && takesGoals) {
            goals.push_back(draft_.substr(6, cutsGoalsAt));
            draft_.clear();
        }
        if (isRunning) {
            draw();
        }
    }
    static std::string withoutPasteMarks(std::string data) {
        for (const std::string mark : {"\x1b[200~", "\x1b[201~"}) {
            const auto at = data.find(mark);
            data = at == data.npos ? data : data.erase(at, mark.size());
        }
        return data;
    }
    static std::string withLineEnds(const std::string& text) {
        std::string lines;
        for (const char byte : text) {
            lines += byte == '\n' ? "\x1b[K\r\n" : std::string(1, byte);
        }
        return lines;
    }
    void draw() {
        std::string screen = covered_.empty() ? "\x1b[?25h" : "\x1b[?25l";
        screen += "\x1b[H\x1b[2J" + said_ + "\r";
        screen += goals.empty() || !works ? "" : "Working (esc to interrupt)\r\n";
        std::size_t column = 0;
        for (const char byte : covered_.empty() ? "\u203A " + draft_ : covered_) {
            const bool breaks = byte == '\n' || column == 100;  // of the 120 columns
            screen += breaks ? "\r\n  " : "";
            screen += byte == '\n' ? "" : std::string(1, byte);
            column = breaks ? 0 : column + 1;
        }
        if (covered_.empty() && draft_ == "/goal") {
            screen += "\r\n\r\n  /goal  set a goal\x1b[2A\x1b[8G";
        }
        write(screen);
    }
    void take(const std::string& step, const Uuid& sessionID) {
        if (!isRunning) {
            throw RunnerError::missingSession(sessionID);
        }
        steps.emplace_back(step, clock_.steadyNow());
        if (step == endsOn_) {
            exit(codeOnStop_);
        }
    }

    InitialInputDelivery& delivery_;
    const Clock& clock_;
    bool refuses_ = false;
    std::string draft_;  // in its composer
    std::string said_;
    std::string covered_;  // what stands in the composer's place
    std::string endsOn_;
    int codeOnStop_ = 0;
    std::optional<EventStream<RunnerEvent>::Continuation> events_;
};

}  // namespace quernlight::host::test
