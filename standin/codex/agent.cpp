#include "standin/codex/agent.hpp"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
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

Agent::Agent(Settings settings, Conduct conduct, StateDatabase& database, Thread thread)
    : settings_(std::move(settings)), conduct_(conduct), database_(database), thread_(std::move(thread)) {}

int Agent::run() {
    if (!startUp()) {
        return 1;
    }
    while (conduct_.behaviour != Behaviour::earlyExit) {
        const std::string burst = terminal_.readBurst();
        const auto submitted = composer_.take(burst);
        drawPrompt();
        if (conduct_.behaviour == Behaviour::exitWhileTyping) {
            return exitStatus();
        }
        if (submitted && handle(*submitted) == Next::leave) {
            terminal_.write("\x1b[?2004l\r\n");
            return 0;
        }
        if (submitted) {
            drawPrompt();
        }
    }
    return exitStatus();
}

bool Agent::startUp() {
    const bool slow = conduct_.behaviour == Behaviour::slowStart;
    const auto pause = settings_.stepDelay * (slow ? 10 : 1);
    const std::size_t answers = terminal_.ask(std::min(settings_.stepDelay * 40, longestWaitForAnswer));
    terminal_.write((settings_.commandLine.alternateScreen ? "\x1b[?1049h" : "") + terminalLine(answers));
    for (const std::string& text : startupTexts(slow)) {
        terminal_.write(text);
        std::this_thread::sleep_for(pause);
    }
    if (conduct_.behaviour == Behaviour::lateComposer) {
        std::this_thread::sleep_for(std::chrono::seconds(conduct_.number.value_or(5)));
    }
    terminal_.write("\x1b[?2004h");
    if (!asksBeforeComposer()) {
        return false;
    }
    if (thread_.isResumed) {
        resume();
    }
    terminal_.write(titleOf(false));
    terminal_.dropPendingKeys();
    drawPrompt();
    return true;
}

/// Whether it may go on. The question for trust comes when a composer has already been drawn.
bool Agent::asksBeforeComposer() {
    while (conduct_.behaviour == Behaviour::login) {
        choose(loginMenu());
    }
    if (settings_.commandLine.looksForUpdates && choose(updateQuestion()) == 0) {
        return false;
    }
    return isTrusted();
}

bool Agent::isTrusted() {
    const std::string directory = std::filesystem::current_path().string();
    if (trusts(settings_.commandLine.projects, directory)) {
        return true;
    }
    drawPrompt();
    return choose(trustQuestion(directory)) == 0;
}

/// One that goes on with its old goal hears nobody.
void Agent::resume() {
    terminal_.write(resumedLine(thread_.id));
    if (conduct_.behaviour != Behaviour::resumeQuestion || !database_.hasOpenGoal(thread_.id)) {
        return;
    }
    silent_ = choose(resumeGoalQuestion()) == 0;
    if (!silent_) {
        database_.pauseGoal(thread_.id);
    }
}

bool Agent::hasGoals() const {
    return settings_.commandLine.hasGoals && conduct_.behaviour != Behaviour::noGoal;
}

void Agent::drawPrompt() {
    if (silent_) {
        return;
    }
    const Terminal::Size size = terminal_.size();
    const ComposerDrawing drawing = composerDrawing(composer_.shown(), size.columns, size.rows - 4);
    terminal_.write(clearedRows(composerRows_) + drawing.text +
                    offeredCommands(composer_.shown(), hasGoals()));
    composerRows_ = drawing.rows;
}

Agent::Next Agent::handle(const std::string& submitted) {
    database_.touchThread(thread_.id);
    if (trimmed(submitted) == "/exit") {
        return deaf_ || conduct_.behaviour == Behaviour::ignoreExit ? Next::promptAgain : Next::leave;
    }
    if (silent_) {
        return Next::promptAgain;
    }
    if (!hasGoals()) {
        terminal_.write(failureLine("Unrecognized command: " + submitted.substr(0, submitted.find(' '))));
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
        database_.setTitle(thread_.id, command.substr(0, command.find('\n')));
        terminal_.write(stepLine("There is nothing to change for this goal."));
        return Next::promptAgain;
    }
    database_.setTitle(thread_.id, "Bug " + goal->bugID);
    Next next = Next::promptAgain;
    try {
        logGoal(settings_.home, *goal);
        next = work(*goal);
    } catch (const TerminalClosed&) {
        throw;
    } catch (const std::exception& error) {
        terminal_.write(failureLine(error.what()));
    }
    if (!silent_) {
        terminal_.write(titleOf(false));
    }
    database_.completeGoal(thread_.id);
    database_.touchThread(thread_.id);
    return next;
}

/// Of an earlier goal that is not complete a person is asked.
bool Agent::takesGoal(const std::string& command) {
    const std::string objective(trimmed(std::string_view(command).substr(command.find("/goal") + 5)));
    if (database_.hasOtherGoal(thread_.id, objective) && choose(replaceGoalQuestion()) > 0) {
        return false;
    }
    database_.setGoal(thread_.id, objective);
    return true;
}

/// The option that was chosen, from 0.
std::size_t Agent::choose(const Question& question) {
    std::size_t selected = 0;
    terminal_.write("\x1b[?25l" + clearedLine() + questionDrawing(question, selected));
    while (true) {
        const std::string keys = terminal_.readBurst();
        const bool isNumber =
            keys.size() == 1 && keys[0] > '0' && keys[0] <= static_cast<char>('0' + question.options.size());
        selected = isNumber ? static_cast<std::size_t>(keys[0] - '1') : selected;
        const bool isEntered = keys.find('\r') != keys.npos;  // whatever text stands before it is lost
        if (isEntered || isNumber) {
            terminal_.write(clearedRows(question.rows()) + "\x1b[?25h");
            return selected;
        }
        selected = keys == "\x1b[B" ? 1 : keys == "\x1b[A" ? 0 : selected;
        terminal_.write(clearedRows(question.rows()) + questionDrawing(question, selected));
    }
}

Agent::Next Agent::work(const Goal& goal) {
    const BackendAccess access = readBackendAccess(settings_.home);
    const Conduct conduct = conductOn(goal.bugID, settings_, access);
    if (conduct.behaviour == Behaviour::idle) {
        silent_ = true;
        return Next::promptAgain;
    }
    if (conduct.behaviour == Behaviour::usageLimit) {
        showUsageLimit(conduct);
        return Next::promptAgain;
    }
    if (conduct.behaviour == Behaviour::fullScreen) {
        showFullScreen();
        return Next::promptAgain;
    }
    if (conduct.behaviour == Behaviour::ignoreExit) {
        deaf_ = true;
        std::signal(SIGINT, SIG_IGN);
    }
    terminal_.write("\r\n");
    if (!isAllowed(conduct)) {
        return Next::promptAgain;
    }
    terminal_.write(titleOf(true));
    GoalWorker(goal, conduct.behaviour, settings_, bugAccess(access), terminal_).run();
    return conduct.behaviour == Behaviour::silentExit ? Next::leave : Next::promptAgain;
}

/// Whether nobody need be asked, or a person says yes.
bool Agent::isAllowed(const Conduct& conduct) {
    const bool isForEver = conduct.behaviour == Behaviour::approvalForEver;
    if (conduct.behaviour != Behaviour::approval && !isForEver) {
        return true;
    }
    std::size_t chosen = choose(approvalQuestion());
    while (isForEver) {
        chosen = choose(approvalQuestion());
    }
    if (chosen > 0) {
        terminal_.write(failureLine("The command was not allowed. Tell the agent what to do differently."));
    }
    return chosen == 0;
}

/// Shows its size and the last keys; at "a" it asks where the cursor is, whose answer comes like a key.
void Agent::showFullScreen() {
    terminal_.write("\x1b[?1049h\x1b[?1h\x1b[?1000;1006h");
    std::string keys;
    while (keys != "q") {
        const Terminal::Size size = terminal_.size();
        terminal_.write(fullScreen(size.columns, size.rows, keys) + (keys == "a" ? "\x1b[6n" : ""));
        keys = terminal_.readBurst();
    }
    terminal_.write("\x1b[?1000;1006l\x1b[?1l\x1b[?1049l");
}

void Agent::showUsageLimit(const Conduct& conduct) {
    char until[16] = "";
    if (conduct.number) {
        const std::time_t end = std::time(nullptr) + 60L * *conduct.number;
        std::tm local{};
        std::strftime(until, sizeof until, "%I:%M %p", localtime_r(&end, &local));
    }
    database_.limitGoal(thread_.id);
    terminal_.write("\r\n" + usageLimitLine(until) + "\r\n");
}

/// Through the tools that the agent was given, if any.
std::unique_ptr<BugAccess> Agent::bugAccess(const BackendAccess& access) const {
    if (settings_.commandLine.toolServer.empty()) {
        return std::make_unique<Backend>(access.url, access.token);
    }
    return std::make_unique<ToolServer>(settings_.commandLine.toolServer);
}

}  // namespace quernlight::standin::codex
