#include "host/session/session_agent.hpp"

#include <sstream>
#include <utility>

#include "host/agent/agent_conversations.hpp"
#include "host/agent/agent_environment.hpp"
#include "host/agent/agent_launch.hpp"
#include "host/process/process_metadata.hpp"
#include "host/process/user_error.hpp"
#include "host/session/sought_report.hpp"
#include "host/text/clock_time.hpp"
#include "host/worktree/worktree_pointers.hpp"
#include "quernlight/runner/runner_error.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::milliseconds turnInterval{100};
constexpr std::chrono::milliseconds leftoverInterval{100};
constexpr int leftoverLooks = 15;
constexpr std::chrono::milliseconds recordInterval{100};
constexpr int recordLooks = 20;                  // at records that an agent which ends may keep busy
constexpr std::chrono::minutes untilItWorks{2};  // a limit of its use shows within moments of the goal

std::string pidsOf(const std::vector<ProcessEntry>& processes) {
    std::ostringstream text;
    for (const ProcessEntry& process : processes) {
        text << (text.tellp() > 0 ? ", " : "") << process.pid;
    }
    return text.str();
}

}  // namespace

SessionAgent::SessionAgent(Uses uses, SessionState& state, SessionLog& log)
    : uses_(std::move(uses)),
      state_(state),
      log_(log),
      run_(uses_.runner, uses_.drawing, uses_.clock, state_.sessionID, "bug " + state_.item.bugID) {}

Task<void> SessionAgent::recordAttempt(std::string goal) {
    co_await uses_.manager.markStarting(state_.item.id, state_.sessionID);
    state_.attempt.goalText = std::move(goal);
    state_.attempt.startedAt = uses_.clock.now();
    state_.watched.activity.startedAt = state_.attempt.startedAt;
    co_await uses_.store.attempts.insert(state_.attempt);
    state_.isAttemptRecorded = true;
    if (state_.watched.resumes) {
        co_await uses_.manager.setCodexSession(state_.item.id, *state_.watched.resumes, true);
        state_.isConversationKnown = true;
    }
}

Task<void> SessionAgent::awaitTurn() {
    while (!uses_.stop.isStopping() && !state_.isStopWished) {
        hasTurn_ = uses_.firstLaunch.take();
        if (hasTurn_) {
            co_return;
        }
        co_await uses_.clock.sleepFor(turnInterval);
    }
}

Task<std::optional<OutsideFailure>> SessionAgent::start(TaskSet& tasks) {
    log_.show(state_.watched.resumes ? SessionStage::resumingAgent : SessionStage::startingAgent);
    tasks_ = &tasks;
    uses_.readyPrompts.follow(state_.sessionID, run_.mailbox());
    std::string trouble;
    std::optional<StartSessionResponse> started;
    try {
        started = co_await run_.start(tasks, startRequest());
    } catch (const PTYProcessError& error) {
        trouble = std::string(error.what()) + "; check the setting agent.command and the system's limits.";
    } catch (const UserError& error) {
        trouble = error.what();
    }
    if (!started) {
        co_await noteUnstarted();
        co_return OutsideFailure{.cause = std::move(trouble)};
    }
    isExitRecorded_ = false;
    co_await recordStart(*started);
    co_return std::nullopt;
}

Task<void> SessionAgent::recordStart(StartSessionResponse started) {
    state_.attempt.pid = started.pid;
    begunAt_ = uses_.clock.steadyNow();
    shownScreen_ = uses_.screens.enter(state_.item.bugID, [this] { return liveAgent(); });
    co_await uses_.manager.markRunning(state_.item.id, state_.sessionID);
    co_await uses_.store.attempts.markRunning(state_.attempt.id, started.pid);
    const std::string pid = std::to_string(started.pid);
    co_await log_.tell(EventKind::agentStarted, "The agent runs as process " + pid + ".",
                       processMetadata(started.pid, run_.leader().startTime));
}

LiveAgent SessionAgent::liveAgent() const {
    return {.attemptNumber = state_.attempt.attemptNumber,
            .pid = run_.isRunning() ? state_.attempt.pid : std::nullopt,
            .since = state_.attempt.startedAt,
            .picture = run_.screen().picture(),
            .terminal = run_.terminal()};
}

Task<void> SessionAgent::noteUnstarted() {
    if (hasTurn_) {
        uses_.firstLaunch.ended();
    }
    co_await log_.tellIfPossible(EventKind::goalNotTyped,
                                 "The agent was not started, so its goal was not typed.");
}

StartSessionRequest SessionAgent::startRequest() {
    return {.sessionID = state_.sessionID,
            .queueItemID = state_.item.id,
            .repoPath = *state_.attempt.agentWorkspacePath,
            .launchCommand = agentCommandLine(launch()),
            .environment = environment(),
            .initialInput = state_.attempt.goalText,
            .transcriptANSIPath = state_.attempt.transcriptANSIPath,
            .transcriptTextPath = state_.attempt.transcriptTextPath,
            .columns = uses_.settings.terminalColumns,
            .rows = uses_.settings.terminalRows};
}

/// A tool server of that name in the agent's own configuration stays in force. What is posted through ours is
/// known without waiting for a poll.
std::vector<std::string> SessionAgent::grantTools() {
    if (uses_.toolServer.empty()) {
        return {};
    }
    const std::string& worktree = *state_.attempt.agentWorkspacePath;
    const auto own = ownToolServer({.environment = environment(),
                                    .command = uses_.settings.agentCommand,
                                    .profile = state_.mapping.codexProfile,
                                    .directories = {worktree, state_.mapping.repoPath}});
    if (own) {
        log_.note("its agent uses " + ownToolServerName(*own));
        return {};
    }
    // A call may end after the session, which must not be touched then.
    auto reported = [mailbox = run_.mailbox(), &clock = uses_.clock,
                     sought = soughtReport(state_.item, state_.sessionID, state_.attempt.startedAt)](
                        const QLCommentDTO& posted) {
        mailbox.deliver(CommentsChanged{.at = clock.now(),
                                        .newest = posted.createdAt,
                                        .detection = CompletionDetector::detectOutcome({posted}, sought)});
    };
    const std::filesystem::path secret = uses_.tools.grant(
        {.sessionID = state_.sessionID,
         .item = state_.item,
         .worktree = worktree,
         .attemptDirectory = std::filesystem::path(state_.attempt.transcriptTextPath).parent_path(),
         .reported = std::move(reported)});
    return toolServerCommand(uses_.toolServer, uses_.home, state_.sessionID, secret);
}

AgentLaunch SessionAgent::launch() {
    const std::string& worktree = *state_.attempt.agentWorkspacePath;
    return {.command = uses_.settings.agentCommand,
            .repository = state_.mapping.repoPath,
            .worktree = worktree,
            .writable = gitDirectoriesOf(state_.mapping.repoPath, worktree),
            .trustsRepository = uses_.settings.agentTrust,
            .profile = state_.mapping.codexProfile,
            .toolServer = grantTools(),
            .conversation = state_.watched.resumes};
}

EnvironmentMap SessionAgent::environment() const {
    EnvironmentMap environment = agentEnvironment(uses_.environment, uses_.settings.agentEnvironment);
    const ProcessMark mark = markOf(state_.sessionID);
    environment[mark.name] = mark.value;
    return environment;
}

Task<void> SessionAgent::noteTyping(SessionEvent event) {
    if (std::holds_alternative<PromptReady>(event)) {
        uses_.firstLaunch.succeeded();
        beginTyping();
    } else if (std::holds_alternative<GoalTypingBegins>(event)) {
        state_.watched.goalTyped = true;
    } else if (std::holds_alternative<GoalTyped>(event)) {
        isGoalTypedWhole_ = true;
        co_await log_.tellIfPossible(EventKind::typed, "The goal has been typed.");
    } else if (const auto* accepted = std::get_if<GoalAccepted>(&event)) {
        co_await noteAcceptance(*accepted);
    } else if (auto* refused = std::get_if<GoalRefused>(&event)) {
        state_.watched.goalRefused = std::move(*refused);
    }
}

void SessionAgent::beginTyping() {
    if (!isGoalWanted_ || !run_.isRunning()) {
        return;
    }
    DiskHealth& disk = uses_.disk;
    tasks_->add(
        "typing the goal of bug " + state_.item.bugID,
        typeGoal({.itemID = state_.item.id,
                  .sessionID = state_.sessionID,
                  .goal = state_.attempt.goalText,
                  .dialogs = {.answersAboutGoals = uses_.settings.agentAnswerDialogs,
                              .resumes = state_.watched.resumes.has_value()},
                  .runner = uses_.runner,
                  .screen = run_.screen(),
                  .items = uses_.store.items,
                  .clock = uses_.clock,
                  .findRecord = uses_.findGoalRecord,
                  .mailbox = run_.mailbox(),
                  .isWanted = [this] { return isGoalWanted_; },
                  .isPersonTyping = [terminal = run_.terminal()] { return terminal->isPersonTyping(); },
                  .onTrouble = [&disk](const DatabaseError& error) { disk.failed(error); }}));
}

Task<void> SessionAgent::noteAcceptance(GoalAccepted accepted) {
    state_.watched.goalAccepted = true;
    hasGoalSince_ = uses_.clock.steadyNow();
    uses_.startPauses.agentStarted();
    co_await log_.tellIfPossible(
        EventKind::goalAccepted,
        "The agent has its goal, " + secondsText(accepted.after) + " after its prompt was ready.");
    if (state_.leftAlone) {
        std::optional<std::string> metadata = conversationMetadata(*state_.leftAlone);
        co_await log_.tellIfPossible(EventKind::conversationUnknown,
                                     "The agent ends whenever it is to go on with its conversation " +
                                         lowerCaseText(*state_.leftAlone) + "; a fresh one was begun.",
                                     std::move(metadata));
    }
}

void SessionAgent::look() {
    run_.look();
    const bool isHeldUp = state_.watched.question || !run_.isRunning();
    if (hasGoalSince_ && !isHeldUp && uses_.clock.steadyNow() - *hasGoalSince_ >= untilItWorks) {
        noteWork();
    }
}

Task<bool> SessionAgent::closeTools() {
    constexpr std::chrono::seconds timeout{10};
    constexpr std::chrono::seconds timeoutAtShutdown{2};
    uses_.tools.close(state_.sessionID);
    const auto session = uses_.tools.session(state_.sessionID);
    if (!session) {
        co_return true;
    }
    const auto limit = uses_.stop.isStopping() ? timeoutAtShutdown : timeout;
    co_await session->calls.untilNoneIsUnderWay(uses_.clock, uses_.clock.steadyNow() + limit);
    co_return !session->calls.isAnyUnderWay();
}

void SessionAgent::noteWork() {
    uses_.startPauses.agentWorked(begunAt_);
}

Task<void> SessionAgent::stop() {
    forgetGoal();
    const bool isFirst = !std::exchange(isStopped_, true);
    if (isFirst) {
        co_await run_.stop([this] { return escalationAt(uses_.stop.level(), uses_.settings); },
                           [this](SessionEvent event) { return noteWhileStopping(std::move(event)); });
    }
    if (isFirst && run_.isRunning()) {
        const std::string pid = std::to_string(*state_.attempt.pid);
        log_.note("the agent (process " + pid + ") does not end; look at it with: ps -fp " + pid);
    }
    co_await recordExit();
}

/// While the agent is being stopped its report still counts, and so does what became of its goal.
Task<void> SessionAgent::noteWhileStopping(SessionEvent event) {
    auto* comments = std::get_if<CommentsChanged>(&event);
    if (comments && comments->detection) {
        state_.watched.detection = std::move(comments->detection);
    }
    co_await noteTyping(std::move(event));
}

Task<void> SessionAgent::recordExit() {
    if (isExitRecorded_ || !run_.exit()) {
        co_return;
    }
    isExitRecorded_ = true;
    uses_.firstLaunch.ended();
    forgetGoal();
    const AgentExited exit = *run_.exit();
    co_await noteWhetherItHadItsGoal();
    co_await noteLeftovers();
    co_await log_.ifPossible(uses_.store.attempts.markExited(state_.attempt.id, exit.exitCode, exit.at));
    co_await log_.tellIfPossible(EventKind::agentExited,
                                 "The agent ended with code " + std::to_string(exit.exitCode) + ".");
    if (!isGoalTypedWhole_) {
        co_await log_.tellIfPossible(EventKind::goalNotTyped,
                                     state_.watched.goalTyped
                                         ? "The agent ended before all of the goal was typed."
                                         : "The agent ended before its goal was typed.");
    }
}

/// It may have taken its goal and ended before anybody saw that it had.
Task<void> SessionAgent::noteWhetherItHadItsGoal() {
    WatchedSession& watched = state_.watched;
    if (!watched.goalTyped || watched.goalAccepted || watched.goalRefused) {
        co_return;
    }
    const std::string objective = goalKeys(state_.attempt.goalText).objective;
    GoalRecord record = co_await uses_.findGoalRecord(objective);
    for (int look = 0; look < recordLooks && !record.allRead && record.match != GoalMatch::whole; ++look) {
        co_await uses_.clock.sleepFor(recordInterval);
        record = co_await uses_.findGoalRecord(objective);
    }
    const bool lacksIt = record.match == GoalMatch::absent || record.match == GoalMatch::part;
    isGoalTypedWhole_ = isGoalTypedWhole_ || record.match == GoalMatch::whole;
    watched.endedWithoutGoal = !isGoalTypedWhole_ || (lacksIt && record.allRead);
}

Task<void> SessionAgent::noteLeftovers() {
    // What the agent had started may need a moment to see that it is gone.
    for (int look = 0; look < leftoverLooks && !uses_.stop.isKilling() && !run_.leftovers().empty(); ++look) {
        co_await uses_.clock.sleepFor(leftoverInterval);
    }
    const auto leftovers = run_.leftovers();
    const auto survivors = co_await run_.endLeftovers();
    if (leftovers.empty()) {
        co_return;
    }
    co_await log_.tellIfPossible(EventKind::agentLeftovers,
                                 "The agent left processes behind; killed: " + pidsOf(leftovers) + ".");
    if (!survivors.empty()) {
        const std::string sentence = "Processes of the agent cannot be ended: " + pidsOf(survivors) +
                                     ". Look at them with: ps -fp PID";
        log_.note(sentence);
        co_await log_.tellIfPossible(EventKind::agentSurvived, sentence);
    }
}

}  // namespace quernlight::host
