#include "standin/codex/goal_worker.hpp"

#include <csignal>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include <sys/resource.h>

#include "standin/codex/pull_request.hpp"
#include "standin/codex/screen.hpp"
#include "standin/codex/workspace.hpp"

namespace quernlight::standin::codex {
namespace {

constexpr std::size_t floodBytes = std::size_t{24} << 20U;

/// Dies as a program with a bug of its own does, without leaving a core behind.
[[noreturn]] void die() {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    std::signal(SIGSEGV, SIG_DFL);
    std::raise(SIGSEGV);
    std::abort();
}

}  // namespace

GoalWorker::GoalWorker(const Goal& goal, Behaviour behaviour, const Settings& settings,
                       std::unique_ptr<BugAccess> access, Terminal& terminal)
    : goal_(goal),
      behaviour_(behaviour),
      settings_(settings),
      access_(std::move(access)),
      terminal_(terminal) {}

void GoalWorker::run() {
    investigate();
    misbehave();
    if (behaviour_ == Behaviour::silentExit) {
        return;
    }
    const bool isNewBug = goal_.flow == GoalFlow::fixBug;
    if (behaviour_ == Behaviour::ask || (isNewBug && lacksInformation(bug_))) {
        askForInformation();
    } else {
        change();
    }
}

void GoalWorker::investigate() {
    if (goal_.flow == GoalFlow::fixBug) {
        access_->setStatus(goal_.bugID, statusBody("investigate"));
        step("Set bug " + goal_.bugID + " to investigate");
    }
    const auto bug = parseBugReport(access_->fetchBug(goal_.bugID));
    if (!bug) {
        throw std::runtime_error("The backend's answer describes no bug.");
    }
    bug_ = *bug;
    step("Read bug " + goal_.bugID + ": " + bug_.title);
}

void GoalWorker::misbehave() {
    if (behaviour_ == Behaviour::crash) {
        die();
    }
    if (behaviour_ == Behaviour::flood) {
        flood();
    }
}

void GoalWorker::flood() {
    constexpr std::size_t blockSize = std::size_t{1} << 16U;
    for (std::size_t sent = 0; sent < floodBytes; sent += blockSize) {
        terminal_.write(floodBlock(sent / 64, blockSize));
    }
}

void GoalWorker::askForInformation() {
    report({.body = "Which steps lead to \"" + bug_.title + "\", and what was expected instead?",
            .status = "investigate",
            .prURL = {}});
    step("Asked for more information");
}

void GoalWorker::change() {
    const bool isNewBug = goal_.flow == GoalFlow::fixBug;
    // A bug that already has a pull request gets no second one.
    const std::string knownURL = goal_.prURL.empty() ? bug_.prURL : goal_.prURL;
    const auto pullRequest = pullRequestNumber(knownURL);
    Workspace workspace(goal_);
    workspace.prepare(pullRequest);
    step("Working in " + goal_.worktreePath + " on " + goal_.branch);
    const std::string done = isNewBug ? "Fix" : "Address review of";
    const std::string commit =
        workspace.commitChange(done + " \"" + bug_.title + "\" (session " + goal_.sessionID + ")",
                               done + " " + goal_.bugID + ": " + bug_.title);
    step("Committed " + commit);
    const std::string pushedURL = workspace.publish(pullRequest);
    const std::string& url = pullRequest ? knownURL : pushedURL;
    step("Pushed " + goal_.branch + ", pull request " + url);
    report({.body = done + " \"" + bug_.title + "\": commit " + commit + " on branch " + goal_.branch + ".",
            .status = "in_review",
            .prURL = url});
    step("Posted the completion comment");
}

void GoalWorker::report(const Report& report) {
    const bool readable = std::ifstream(goal_.completionInstructionsPath).good();
    step((readable ? "Read " : "Cannot read ") + goal_.completionInstructionsPath);
    access_->postComment(goal_.bugID, commentBody(goal_, report));
}

void GoalWorker::step(std::string_view text) {
    constexpr std::size_t frames = 4;
    for (std::size_t frame = 0; frame < frames; ++frame) {
        terminal_.write(spinnerFrame(frame, text));
        std::this_thread::sleep_for(settings_.stepDelay / frames);
    }
    terminal_.write(stepLine(text));
}

}  // namespace quernlight::standin::codex
