#include "standin/codex/agent.hpp"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>
#include <utility>

#include "quernlight/platform/text.hpp"
#include "standin/codex/goal_log.hpp"
#include "standin/codex/goal_worker.hpp"
#include "standin/codex/screen.hpp"
#include "standin/codex/tool_server.hpp"

namespace quernlight::standin::codex {
namespace {

/// A terminal that does not answer is one that cannot.
constexpr std::chrono::milliseconds longestWaitForAnswer{3100};

}  // namespace

Agent::Agent(Settings settings, StateDatabase& database, std::string threadID, bool resumed)
    : settings_(std::move(settings)),
      database_(database),
      threadID_(std::move(threadID)),
      resumed_(resumed) {}

void Agent::run() {
    startUp();
    while (true) {
        const auto submitted = composer_.take(terminal_.readBurst());
        drawPrompt();
        if (submitted && handle(*submitted) == Next::leave) {
            terminal_.write("\x1b[?2004l\r\n");
            return;
        }
        if (submitted) {
            drawPrompt();
        }
    }
}

void Agent::startUp() {
    const bool slow = settings_.behaviour == Behaviour::slowStart;
    const auto pause = settings_.stepDelay * (slow ? 10 : 1);
    terminal_.askForCursor(std::min(settings_.stepDelay * 40, longestWaitForAnswer));
    for (const std::string& text : startupTexts(slow)) {
        terminal_.write(text);
        std::this_thread::sleep_for(pause);
    }
    if (resumed_) {
        terminal_.write(resumedLine(threadID_));
    }
    terminal_.write("\x1b[?2004h\x1b]0;standin\x07");
    terminal_.dropPendingKeys();
    drawPrompt();
}

void Agent::drawPrompt() {
    if (silent_) {
        return;
    }
    const Terminal::Size size = terminal_.size();
    const ComposerDrawing drawing = composerDrawing(composer_.shown(), size.columns, size.rows - 4);
    terminal_.write(clearedRows(composerRows_) + drawing.text);
    composerRows_ = drawing.rows;
}

Agent::Next Agent::handle(const std::string& submitted) {
    database_.touchThread(threadID_);
    if (trimmed(submitted) == "/exit") {
        return deaf_ || settings_.behaviour == Behaviour::ignoreExit ? Next::promptAgain : Next::leave;
    }
    if (silent_) {
        return Next::promptAgain;
    }
    if (isGoalCommand(submitted)) {
        return workOn(submitted);
    }
    terminal_.write(failureLine("Only /goal and /exit are understood here."));
    return Next::promptAgain;
}

/// A failure ends the agent's work, not the agent: it says so and waits, as a real one does.
Agent::Next Agent::workOn(const std::string& command) {
    if (!takesGoal(command)) {
        return Next::promptAgain;
    }
    const auto goal = parseGoal(command);
    if (!goal) {
        database_.setTitle(threadID_, command.substr(0, command.find('\n')));
        terminal_.write(stepLine("There is nothing to change for this goal."));
        return Next::promptAgain;
    }
    database_.setTitle(threadID_, "Bug " + goal->bugID);
    Next next = Next::promptAgain;
    try {
        logGoal(settings_.home, *goal);
        next = work(*goal);
    } catch (const TerminalClosed&) {
        throw;
    } catch (const std::exception& error) {
        terminal_.write(failureLine(error.what()));
    }
    database_.completeGoal(threadID_);
    database_.touchThread(threadID_);
    return next;
}

/// Of an earlier goal that is not complete a person is asked.
bool Agent::takesGoal(const std::string& command) {
    const std::string objective(trimmed(std::string_view(command).substr(command.find("/goal") + 5)));
    if (database_.hasOtherGoal(threadID_, objective) && !mayReplaceGoal()) {
        return false;
    }
    database_.setGoal(threadID_, objective);
    return true;
}

bool Agent::mayReplaceGoal() {
    constexpr std::size_t questionRows = 4;
    std::size_t selected = 0;
    terminal_.write("\x1b[?25l" + clearedLine() + replaceGoalQuestion(selected));
    while (true) {
        const std::string keys = terminal_.readBurst().bytes;
        if (keys == "\r") {
            terminal_.write(clearedRows(questionRows) + "\x1b[?25h");
            return selected == 0;
        }
        selected = keys == "\x1b[B" ? 1 : keys == "\x1b[A" ? 0 : selected;
        terminal_.write(clearedRows(questionRows) + replaceGoalQuestion(selected));
    }
}

Agent::Next Agent::work(const Goal& goal) {
    const BackendAccess access = readBackendAccess(settings_.home);
    const Behaviour behaviour = behaviourFor(goal, access);
    if (behaviour == Behaviour::idle) {
        silent_ = true;
        return Next::promptAgain;
    }
    if (behaviour == Behaviour::ignoreExit) {
        deaf_ = true;
        std::signal(SIGINT, SIG_IGN);
    }
    terminal_.write("\r\n");
    GoalWorker(goal, behaviour, settings_, bugAccess(access), terminal_).run();
    return behaviour == Behaviour::silentExit ? Next::leave : Next::promptAgain;
}

/// Through the tools that the agent was given, if any.
std::unique_ptr<BugAccess> Agent::bugAccess(const BackendAccess& access) const {
    if (settings_.toolServer.empty()) {
        return std::make_unique<Backend>(access.url, access.token);
    }
    return std::make_unique<ToolServer>(settings_.toolServer);
}

Behaviour Agent::behaviourFor(const Goal& goal, const BackendAccess& access) const {
    const auto chosen = access.behaviours.find(goal.bugID);
    return chosen == access.behaviours.end() ? settings_.behaviour : chosen->second;
}

}  // namespace quernlight::standin::codex
