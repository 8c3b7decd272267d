#include "host/session/bug_session.hpp"

#include <new>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/events/history_look.hpp"
#include "host/health/failure_policy.hpp"
#include "host/recovery/recovery_step.hpp"
#include "tests/host/session/session_fixture.hpp"

namespace quernlight::host {
namespace {

using quernlight::test::writeFile;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class BugSessionTest : public test::SessionFixture {};

TEST_F(BugSessionTest, AGoalThatIsTypedAndAReportBringTheBugIntoReview) {
    work();
    writes("Looking into it\n");
    EXPECT_EQ(lastShown(), "3f2a9c1d working");
    EXPECT_THAT(agent.request->initialInput, HasSubstr("3f2a9c1d"));
    reports("in_review");
    advance(seconds(7));
    EXPECT_TRUE(hasEnded);
    EXPECT_FALSE(failure);
    EXPECT_EQ(status(), QueueItemStatus::completed);
    EXPECT_EQ(attempt().state, SessionAttemptState::completed);
    EXPECT_EQ(
        history(),
        "enqueued worktreeReady startingCodex running agentStarted typing typed goalAccepted codexCompleted "
        "agentExited completed");
    EXPECT_THAT(steps(), ElementsAre("exit 0", "enter 0"));
}

TEST_F(BugSessionTest, ItsAgentsScreenCanBeLookedAtFromTheStartOn) {
    EXPECT_FALSE(screens.look("3f2a9c1d"));
    work();
    writes("Looking into it\n");
    const LiveAgent seen = screens.look("3f2a9c1d").value();
    EXPECT_EQ(seen.pid, agent.pid);
    EXPECT_EQ(seen.attemptNumber, 1);
    EXPECT_THAT(seen.picture->lines, testing::Contains(HasSubstr("Looking into it")));
    exits(0);
    EXPECT_EQ(screens.look("3f2a9c1d").value().pid, std::nullopt);
}

TEST_F(BugSessionTest, AQuestionOfTheAgentsWaitsForTheUser) {
    work();
    reports("investigate");
    advance(seconds(7));
    EXPECT_EQ(status(), QueueItemStatus::awaitingUserInput);
    EXPECT_EQ(attempt().state, SessionAttemptState::completed);
}

TEST_F(BugSessionTest, AnAgentThatIsSilentBeyondTheIdleTimeoutFails) {
    work();
    advance(seconds(30));
    writes("still here\n");
    advance(seconds(60));
    EXPECT_EQ(status(), QueueItemStatus::running);
    advance(seconds(5));
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(item(bug).errorMessage, "Idle timeout elapsed before completion.");
    EXPECT_FALSE(agent.isRunning);
}

TEST_F(BugSessionTest, AnExitWithoutACommentFailsOnlyAfterTheGrace) {
    work();
    exits(0);
    advance(seconds(20));
    EXPECT_EQ(status(), QueueItemStatus::running);
    advance(seconds(5));
    EXPECT_EQ(item(bug).errorMessage, "Codex exited without posting a completion comment.");
    EXPECT_THAT(steps(), IsEmpty());
}

TEST_F(BugSessionTest, AReportThatNoPollHasSeenIsFoundWhenTheGraceIsOver) {
    settings.pollCommentsSeconds = 3600;
    work();
    exits(0);
    reports("in_review");
    advance(seconds(25));
    EXPECT_EQ(status(), QueueItemStatus::completed);
}

TEST_F(BugSessionTest, AReportThatNoPollHasSeenIsFoundWhenTheIdleTimeoutIsOver) {
    settings.pollCommentsSeconds = 3600;
    work();
    reports("in_review");
    advance(seconds(65));
    EXPECT_EQ(status(), QueueItemStatus::completed);
}

TEST_F(BugSessionTest, AReportThatComesWhileASilentAgentIsAlreadyBeingStoppedCompletesTheBug) {
    settings.pollCommentsSeconds = 3600;
    settings.stopExitSeconds = 600;
    agent.endOn("never");
    work();
    advance(seconds(65));
    ASSERT_THAT(steps(), ElementsAre("exit 0", "enter 0"));
    reports("in_review");
    exits(0);
    EXPECT_EQ(status(), QueueItemStatus::completed);
    EXPECT_EQ(attempt().state, SessionAttemptState::completed);
}

TEST_F(BugSessionTest, NothingFailsWhileTheBackendCannotBeAsked) {
    work();
    backendTrouble = std::make_exception_ptr(BackendError::server(503, ""));
    exits(0);
    advance(seconds(120));
    EXPECT_EQ(status(), QueueItemStatus::running);
    EXPECT_FALSE(hasEnded);
    reports("in_review");
    backendTrouble = nullptr;
    advance(seconds(7));
    EXPECT_EQ(status(), QueueItemStatus::completed);
}

TEST_F(BugSessionTest, AWishToStopPutsTheBugBackToBeResumed) {
    work();
    raise(StopLevel::stop);
    EXPECT_TRUE(hasEnded);
    EXPECT_FALSE(failure);
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_EQ(attempt().failureReason, "Dispatcher stopped while the session was running.");
    EXPECT_EQ(lastShown(), "3f2a9c1d queued to resume");
}

TEST_F(BugSessionTest, AReportThatNobodyHadSeenAtAStopCompletesTheBug) {
    settings.pollCommentsSeconds = 3600;
    work();
    reports("in_review");
    raise(StopLevel::stop);
    EXPECT_EQ(status(), QueueItemStatus::completed);
    EXPECT_EQ(attempt().state, SessionAttemptState::completed);
}

TEST_F(BugSessionTest, AQuestionThatNobodyHadSeenAtAStopWaitsForTheUser) {
    settings.pollCommentsSeconds = 3600;
    work();
    reports("investigate");
    raise(StopLevel::stop);
    EXPECT_EQ(status(), QueueItemStatus::awaitingUserInput);
}

TEST_F(BugSessionTest, AStopWhileTheBackendIsAwayLeavesTheAttemptOpen) {
    work();
    backendTrouble = std::make_exception_ptr(BackendError::server(503, ""));
    raise(StopLevel::stop);
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_TRUE(isOpen(attempt()));
}

/// It is held only once the backend has said that it is not finished.
TEST_F(BugSessionTest, AStopWhoseEndTheBackendDoesNotTellLeavesTheItemToBeReconciled) {
    work();
    backendTrouble = std::make_exception_ptr(std::runtime_error("no answer"));
    stopSession();
    ASSERT_TRUE(hasEnded);
    ASSERT_TRUE(failure);
    EXPECT_EQ(sessionPolicy(failure).kind, FailureKind::reportPending);
    EXPECT_EQ(status(), QueueItemStatus::running);
    EXPECT_TRUE(isOpen(attempt()));
    EXPECT_FALSE(agent.isRunning);
}

TEST_F(BugSessionTest, ASessionThatIsStoppedIsHeld) {
    work();
    stopSession();
    EXPECT_TRUE(hasEnded);
    EXPECT_FALSE(failure);
    EXPECT_EQ(item(bug).queueMode, QueueMode::manual);
    EXPECT_THAT(history(), testing::EndsWith("resumable queueModeChanged sessionStopped"));
    EXPECT_EQ(lastShown(), "3f2a9c1d needs start");
}

TEST_F(BugSessionTest, AStopWhileTheSessionWaitsForItsTurnStartsNoAgent) {
    firstLaunch = FirstLaunch(true);
    firstLaunch.take();  // by another one
    begin();
    advance(seconds(2));
    EXPECT_FALSE(agent.request);
    stopSession();
    ASSERT_TRUE(hasEnded);
    EXPECT_FALSE(agent.request);
    EXPECT_EQ(item(bug).queueMode, QueueMode::manual);
    EXPECT_FALSE(isOpen(attempt()));
}

TEST_F(BugSessionTest, ABugWhoseCompletionWasSeenIsCompletedThoughTheProgramIsStopped) {
    agent.endOn("terminate");
    work();
    reports("in_review");
    advance(seconds(7));
    ASSERT_EQ(status(), QueueItemStatus::codexCompleted);
    raise(StopLevel::stop);
    advance(seconds(20));
    EXPECT_EQ(status(), QueueItemStatus::completed);
}

TEST_F(BugSessionTest, AReportThatIsUnderWayWhenItsSessionEndsIsWaitedForAndCounts) {
    offerTools();
    work();
    beginReporting();
    stopSession();
    EXPECT_FALSE(agent.isRunning);
    EXPECT_FALSE(hasEnded);
    EXPECT_FALSE(grantedTools()->isLive);
    endReporting();
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(status(), QueueItemStatus::completed);
}

/// Its next start asks the backend before anything else becomes of the bug.
TEST_F(BugSessionTest, ASessionWhoseReportDoesNotGetThroughLeavesItsItemToBeReconciled) {
    offerTools();
    work();
    beginReporting();
    stopSession();
    advance(seconds(9));
    EXPECT_FALSE(hasEnded);
    advance(seconds(2));
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(status(), QueueItemStatus::running);
    endReporting();
}

TEST_F(BugSessionTest, AnAgentWithAToolServerOfOurNameKeepsItAndGetsNoSecret) {
    writeFile(directory / "codex/config.toml", "[mcp_servers.quernlight]\ncommand = \"mine\"\n");
    offerTools((directory / "codex").string());
    begin();
    EXPECT_THAT(agent.request->launchCommand, testing::Not(testing::Contains(HasSubstr("mcp_servers"))));
    EXPECT_FALSE(grantedTools());
    EXPECT_THAT(published.notices,
                testing::Contains(HasSubstr("its agent uses the tool server \"quernlight\" of its own")));
}

TEST_F(BugSessionTest, AnItemThatIsTakenAwayIsLeftAsItIs) {
    work();
    run(manager.cancel(bug));
    advance(seconds(2));
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(status(), QueueItemStatus::cancelled);
    EXPECT_FALSE(agent.isRunning);
    EXPECT_THAT(attempt().failureReason.value_or(""), HasSubstr("taken from the session"));
    EXPECT_FALSE(stop.isStopping());
}

TEST_F(BugSessionTest, AnAgentThatCannotBeStartedPutsTheBugBackAndPausesStarts) {
    agent.refuseToStart();
    begin();
    EXPECT_TRUE(hasEnded);
    EXPECT_FALSE(failure);
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_THAT(startPauses.trouble(repository).value_or(""), HasSubstr("check the setting agent.command"));
    EXPECT_THAT(history(), HasSubstr("startingCodex goalNotTyped resumable"));
}

TEST_F(BugSessionTest, AWorktreeThatCannotBeUsedFailsTheBug) {
    worktree = WorktreeFailed{"It holds work."};
    begin();
    EXPECT_EQ(status(), QueueItemStatus::failed);
    EXPECT_EQ(item(bug).errorMessage, "It holds work.");
    EXPECT_FALSE(agent.request);
}

TEST_F(BugSessionTest, ARepositoryThatIsGonePutsTheBugBackAndPausesItsStarts) {
    std::filesystem::remove(repository);
    begin();
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_THAT(startPauses.trouble(repository).value_or(""), HasSubstr("cannot be used"));
    EXPECT_EQ(history(), "enqueued");
}

TEST_F(BugSessionTest, AStopWhileTheWorktreeIsPreparedLeavesTheBugQueued) {
    whilePreparing = [this] { stop.raise(StopLevel::stop); };
    begin();
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(history(), "enqueued");
    EXPECT_EQ(lastShown(), "3f2a9c1d queued");
}

TEST_F(BugSessionTest, GitIsKeptFromProgramsOfARepositoryInWhichAnAgentHasWorkedThoughTheQueueForgotIt) {
    begin();
    EXPECT_FALSE(isGitGuarded);
    stopSession();
    run(store.database->execute("DELETE FROM session_attempts"));
    branchHasCommits = true;
    begin();
    EXPECT_EQ(attempt().attemptNumber, 1);
    EXPECT_TRUE(isGitGuarded);
}

TEST_F(BugSessionTest, WithoutItsHomeNothingBegins) {
    whilePreparing = [this] { isHomeInPlace = false; };
    begin();
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_FALSE(agent.request);
}

TEST_F(BugSessionTest, AShortageOfTheSystemsPutsTheBugBackAndPausesAllStarts) {
    whilePreparing = [] { throw std::bad_alloc(); };
    begin();
    EXPECT_TRUE(hasEnded);
    EXPECT_FALSE(failure);
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_THAT(startPauses.trouble("/any/other").value_or(""), HasSubstr("short of what a start needs"));
}

TEST_F(BugSessionTest, WhatElseGoesWrongFailsTheBugWithTheReason) {
    whilePreparing = [] { throw std::runtime_error("odd"); };
    begin();
    EXPECT_FALSE(failure);
    EXPECT_EQ(item(bug).errorMessage, "odd");
}

TEST_F(BugSessionTest, AConversationThatTheAgentDeniesIsBegunAnew) {
    run(manager.setCodexSession(bug, reportID, true));
    begin();
    const auto& command = agent.request->launchCommand;
    EXPECT_THAT(std::vector(command.end() - 2, command.end()),
                ElementsAre("resume", lowerCaseText(reportID)));
    agent.write("No saved session found\n");
    exits(1);
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_THAT(history(), HasSubstr(" conversationUnknown resumable"));
}

TEST_F(BugSessionTest, AGoalThatTheAgentTookInPartIsGivenToItOnceMoreInAFreshAttempt) {
    agent.cutsGoalsAt = 200;
    work();
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_THAT(history(), HasSubstr(" typing typed goalRefused agentExited resumable"));
    EXPECT_THAT(attempt().failureReason.value_or(""),
                HasSubstr("The agent took only a part of the goal; its screen shows: "));
}

TEST_F(BugSessionTest, AGoalThatIsRefusedTwiceInARowFailsTheBug) {
    run(appendEvent(store.items, {.itemID = bug, .kind = EventKind::goalRefused, .message = "No."}));
    agent.cutsGoalsAt = 200;
    work();
    EXPECT_EQ(status(), QueueItemStatus::failed);
    EXPECT_THAT(item(bug).errorMessage.value_or(""), HasSubstr("only a part of the goal"));
}

TEST_F(BugSessionTest, AGoalThatIsRefusedAfterThatOfAnotherBugPutsTheBugBackAndPausesStarts) {
    startPauses.goalRefused("7b1e0d5c");
    run(appendEvent(store.items, {.itemID = bug, .kind = EventKind::goalRefused, .message = "No."}));
    agent.cutsGoalsAt = 200;
    work();
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_THAT(history(), HasSubstr(" agentBlocked agentExited resumable"));
    EXPECT_THAT(startPauses.trouble(repository).value_or(""), HasSubstr("only a part of the goal"));
}

TEST_F(BugSessionTest, AnAgentThatExitsBeforeItsGoalIsTypedPutsTheBugBackAndPausesStarts) {
    begin();
    agent.write("Good-bye.\n");
    exits(0);
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_THAT(startPauses.trouble(repository).value_or(""), HasSubstr("ended with code 0 before its goal"));
}

TEST_F(BugSessionTest, AnAgentThatExitsWithItsGoalHalfTypedIsGivenItInAFreshAttempt) {
    begin();
    agent.showPrompt();
    advance(std::chrono::milliseconds(400));
    ASSERT_THAT(history(), HasSubstr(" typing"));
    exits(0);
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_THAT(history(), HasSubstr(" agentExited goalNotTyped goalRefused resumable"));
}

TEST_F(BugSessionTest, AConversationThatEndsTheAgentTwiceInARowIsGivenUpOnceAFreshOneIsBegun) {
    run(manager.setCodexSession(bug, reportID, true));
    for (int attempt = 1; attempt <= 2; ++attempt) {
        begin();
        EXPECT_EQ(agent.request->launchCommand.back(), lowerCaseText(reportID));
        exits(0);
    }
    work();
    EXPECT_NE(agent.request->launchCommand.back(), lowerCaseText(reportID));
    EXPECT_THAT(history(), HasSubstr(" goalAccepted conversationUnknown"));
}

TEST_F(BugSessionTest, ALimitOfUseHoldsBackStartsThoughOtherAgentsTakeTheirGoals) {
    work();
    agent.works = false;
    writes("\u25A0 You've hit your usage limit.\r\n\r\n");
    advance(seconds(8));
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(status(), QueueItemStatus::queued);
    startPauses.agentStarted();
    EXPECT_EQ(startPauses.pauseOf(repository, time.steadyNow()).value().cause, "The agent's use is limited.");
}

TEST_F(BugSessionTest, TheEndOfALimitOfUseIsStored) {
    work();
    agent.works = false;
    writes("\u25A0 You've hit your usage limit. Try again in 2 hours.\r\n\r\n");
    const Instant end = time.now() + std::chrono::hours(2);
    advance(seconds(8));
    const auto limit = statedLimit(run(store.items.events(bug)));
    ASSERT_TRUE(limit);
    EXPECT_LT(std::chrono::abs(limit->until - end), seconds(60));
}

TEST_F(BugSessionTest, AQuestionThatASettingLeavesToAPersonHoldsUpItsRepositoryOnly) {
    settings.agentTrust = false;
    begin();
    agent.showInstead("    Do you trust this folder?\n\n\u203A 1. Yes\n  2. No");
    agent.showPrompt();
    advance(seconds(150));
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_THAT(startPauses.trouble(repository).value_or(""), HasSubstr("trust question"));
    EXPECT_FALSE(startPauses.trouble("/elsewhere"));
}

/// The second might answer the question that the first has brought up.
TEST_F(BugSessionTest, EnterIsNotPressedTwiceInAConversationWhoseOldGoalIsAPersonsToReplace) {
    settings.agentAnswerDialogs = false;
    agent.takesGoals = false;
    run(manager.setCodexSession(bug, reportID, true));
    work();
    advance(seconds(8));
    EXPECT_EQ(agent.enters, 1);
}

TEST_F(BugSessionTest, EnterIsPressedTwiceInAFreshConversation) {
    settings.agentAnswerDialogs = false;
    agent.takesGoals = false;
    work();
    advance(seconds(8));
    EXPECT_EQ(agent.enters, 2);
}

/// As older ones do, and those that keep it elsewhere.
TEST_F(BugSessionTest, AModelThatFailsPutsTheBugBackThoughTheAgentRecordsNoStatus) {
    work();
    agent.works = false;
    writes("\u25A0 unexpected status 401 Unauthorized\r\n\r\n");
    advance(seconds(8));
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_THAT(startPauses.trouble(repository).value_or(""), HasSubstr("401 Unauthorized"));
}

TEST_F(BugSessionTest, NothingIsTypedIntoADialogAndAPersonIsToldAtOnce) {
    begin();
    agent.showInstead("Do you trust this folder?\n\n\u203A 1. Yes\n  2. No");
    agent.showPrompt();
    advance(seconds(3));
    EXPECT_THAT(agent.goals, IsEmpty());
    EXPECT_THAT(lastShown(), HasSubstr("needs you"));
    EXPECT_THAT(history(), HasSubstr(" needsPerson"));
    agent.showAgain();
    advance(seconds(5));
    EXPECT_EQ(agent.goals.size(), 1U);
    EXPECT_EQ(lastShown(), "3f2a9c1d working");
}

TEST_F(BugSessionTest, AQuestionOnAScreenThatLacksOutputIsToldOnceTheAgentHasDrawnItAnew) {
    work();
    agent.showInstead("May I run it?\n\n\u203A 1. Yes, proceed\n  2. No");
    agent.drawsAnew = false;
    agent.flood();
    advance(seconds(3));
    EXPECT_THAT(lastShown(), testing::Not(HasSubstr("needs you")));
    agent.drawsAnew = true;
    advance(seconds(8));
    EXPECT_THAT(lastShown(), HasSubstr("needs you"));
}

/// Better than in silence: no key is typed by it.
TEST_F(BugSessionTest, AQuestionIsToldInTheEndThoughTheAgentDoesNotDrawItsScreenAnew) {
    agent.drawsAnew = false;
    work();
    agent.showInstead("May I run it?\n\n\u203A 1. Yes, proceed\n  2. No");
    agent.flood();
    advance(seconds(25));
    EXPECT_THAT(lastShown(), HasSubstr("needs you"));
}

TEST_F(BugSessionTest, AQuestionThatIsAnsweredInVainIsToldInTheReasonAndPutsTheBugBack) {
    agent.endOn("interrupt");
    begin();
    agent.showInstead("    Replace goal?\n\n\u203A 1. Replace current goal\n  2. Cancel");
    agent.showPrompt();
    advance(seconds(30));
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(agent.keysWhileCovered, "\n");
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_THAT(history(), HasSubstr(" goalRefused agentExited goalNotTyped resumable"));
    EXPECT_THAT(
        attempt().failureReason.value_or(""),
        HasSubstr("(replace goal question) and does not go on though it was answered: Replace goal?"));
}

TEST_F(BugSessionTest, AnAgentThatIsNotLoggedInPutsTheBugBackAndPausesStarts) {
    agent.endOn("interrupt");
    begin();
    agent.showInstead("Welcome\n\n\u203A 1. Sign in with an account\n  2. Provide your own API key");
    agent.showPrompt();
    advance(seconds(6));
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(status(), QueueItemStatus::queued);
    EXPECT_THAT(startPauses.trouble(repository).value_or(""), HasSubstr("not logged in"));
    EXPECT_THAT(steps(), ElementsAre("interrupt 0"));
}

/// What cannot be stored of a session's end is reconciled later; until then the item stays live.
TEST_F(BugSessionTest, AnEndThatCannotBeStoredLeavesTheItemToBeReconciled) {
    work();
    failWritesOf("failed");
    exits(3);
    advance(seconds(25));
    ASSERT_TRUE(failure);
    EXPECT_EQ(sessionPolicy(failure).kind, FailureKind::unwritable);
    EXPECT_EQ(status(), QueueItemStatus::running);
    EXPECT_TRUE(isOpen(attempt()));
}

TEST_F(BugSessionTest, ACompletionThatCannotBeStoredIsNeverTurnedIntoAFailure) {
    work();
    failWritesOf("completed");
    reports("in_review");
    advance(seconds(7));
    ASSERT_TRUE(failure);
    EXPECT_EQ(status(), QueueItemStatus::codexCompleted);
    EXPECT_FALSE(agent.isRunning);
}

TEST_F(BugSessionTest, TheAgentIsStoppedStepByStepWithTheTimesOfTheSettings) {
    settings.stopEnterSeconds = 1;
    agent.endOn("kill", 137);
    work();
    reports("in_review");
    advance(seconds(60));
    EXPECT_THAT(steps(),
                ElementsAre("exit 0", "enter 0", "enter 5", "interrupt 6", "terminate 9", "kill 14"));
    EXPECT_EQ(status(), QueueItemStatus::completed);
}

TEST_F(BugSessionTest, AKillWhileTheAgentIsBeingStoppedKillsItAtOnce) {
    agent.endOn("kill", 137);
    work();
    raise(StopLevel::stop);
    EXPECT_THAT(steps(), ElementsAre("exit 0", "enter 0"));
    raise(StopLevel::kill);
    EXPECT_EQ(steps().back(), "kill 0");
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(status(), QueueItemStatus::queued);
}

TEST_F(BugSessionTest, AnAgentThatNoStepEndsIsTold) {
    agent.endOn("never");
    work();
    raise(StopLevel::stop);
    advance(seconds(12));
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(steps().back().substr(0, 5), "kill ");
    EXPECT_THAT(published.notices, testing::Contains(HasSubstr("does not end; look at it with: ps -fp")));
}

}  // namespace
}  // namespace quernlight::host
