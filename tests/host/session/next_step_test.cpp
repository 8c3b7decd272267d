#include "host/session/next_step.hpp"

#include <csignal>
#include <ostream>

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using std::chrono::seconds;

/// A session that began at second 0 of its own clock, with 100 seconds of idle time and 10 of grace.
class NextStepTest : public testing::Test {
  protected:
    static Instant at(int second) { return parseInstant("2026-03-04T05:06:07Z").value() + seconds(second); }
    NextStep stepAt(int second) const {
        return nextStep(session, at(second), {.idleTimeoutSeconds = 100, .postExitCommentGraceSeconds = 10});
    }
    bool goesOnAt(int second) const { return is<KeepWatching>(second); }
    /// The comments were looked at just then, and there was no report.
    std::string failureAt(int second) {
        session.commentsKnownAt = at(second);
        const NextStep step = stepAt(second);
        const auto* failed = std::get_if<SessionFailed>(&step);
        return failed ? failed->reason : "no failure";
    }
    void exits(int second, int code) {
        session.activity.exitedAt = at(second);
        session.activity.exitCode = code;
    }
    void comments(CompletionOutcome outcome) {
        session.detection = CompletionDetection{.comment = {}, .outcome = outcome};
        session.detection->comment.body = "Done.";
    }
    void resumes(const Uuid& conversation) {
        session.resumes = conversation;
        session.goalTyped = false;
    }
    template <class Step>
    bool is(int second) const {
        return std::holds_alternative<Step>(stepAt(second));
    }

    WatchedSession session{.activity = {.startedAt = at(0)}, .goalTyped = true};
};

TEST_F(NextStepTest, ASessionThatWorksGoesOn) {
    session.activity.lastOutputAt = at(90);
    EXPECT_TRUE(goesOnAt(150));
}

TEST_F(NextStepTest, ACompletionCommentCountsAboveAStopACrashAndATimeOut) {
    comments(CompletionOutcome::completed);
    session.stopRequested = true;
    exits(1, 3);
    EXPECT_TRUE(is<WorkCompleted>(1000));
    EXPECT_EQ(std::get<WorkCompleted>(stepAt(1000)).comment.body, "Done.");
}

TEST_F(NextStepTest, AnInvestigateCommentAsksTheUser) {
    comments(CompletionOutcome::investigate);
    EXPECT_TRUE(is<UserAsked>(1));
}

TEST_F(NextStepTest, AStopCountsAboveTheRulesThatFailASession) {
    session.stopRequested = true;
    EXPECT_TRUE(is<SessionInterrupted>(1));
    exits(1, 3);
    EXPECT_TRUE(is<SessionInterrupted>(1000));
}

TEST_F(NextStepTest, AnAgentThatExitsBeforeItsGoalIsTypedBlocksMoreThanThisBug) {
    session.goalTyped = false;
    session.lastWords = "Error: failed to initialize\n";
    for (const int code : {0, 1}) {
        exits(2, code);
        const NextStep step = stepAt(2);
        EXPECT_EQ(std::get<AgentBlocked>(step).cause,
                  "The agent ended with code " + std::to_string(code) +
                      " before its goal was typed: Error: failed to initialize");
        EXPECT_TRUE(std::get<AgentBlocked>(step).endedEarly);
    }
}

TEST_F(NextStepTest, AnAgentThatExitsBeforeItHasItsGoalIsGivenItInAFreshAttempt) {
    exits(2, 0);
    session.endedWithoutGoal = true;
    EXPECT_EQ(std::get<GoalNotTaken>(stepAt(2)).reason,
              "The agent ended with code 0 before its goal was taken.");
    comments(CompletionOutcome::completed);
    EXPECT_TRUE(is<WorkCompleted>(2));
}

TEST_F(NextStepTest, AnIdleTimeoutNamesTheQuestionThatStands) {
    session.goalAccepted = true;
    session.question = StandingQuestion{
        .kind = DialogKind::approval, .sentence = "The agent asks (approval): Run make?", .since = at(5)};
    EXPECT_EQ(failureAt(101), "Idle timeout elapsed before completion. The agent asks (approval): Run make?");
}

TEST_F(NextStepTest, AnAgentThatItsLauncherDoesNotFindIsNotTheBugsFailure) {
    session.goalTyped = false;
    for (const char* words : {"/usr/bin/env: ‘codex’: No such file or directory\n\n",
                              "env: node: No such file or directory\nmore"}) {
        session.lastWords = words;
        exits(1, 127);
        EXPECT_TRUE(is<AgentNotFound>(1)) << words;
        exits(1, 126);
        EXPECT_TRUE(is<AgentNotFound>(1)) << words;
    }
    EXPECT_EQ(std::get<AgentNotFound>(stepAt(1)).words, "env: node: No such file or directory");
}

TEST_F(NextStepTest, AnAgentThatRanAndExitsAsItsLauncherWouldFails) {
    exits(1, 127);
    session.lastWords = "Welcome.\nenv: node: No such file or directory\n";
    EXPECT_EQ(failureAt(20), "Codex exited with code 127 without posting a completion comment.");
    session.lastWords = "env: node: No such file or directory\n";
    session.goalTyped = true;
    EXPECT_EQ(failureAt(20), "Codex exited with code 127 without posting a completion comment.");
}

TEST_F(NextStepTest, ACrashFailsTheSessionOnlyAfterTheGraceForItsComment) {
    exits(20, 3);
    EXPECT_TRUE(goesOnAt(20));
    EXPECT_TRUE(goesOnAt(30));
    EXPECT_EQ(failureAt(31), "Codex exited with code 3 without posting a completion comment.");
}

TEST_F(NextStepTest, ACrashIsToldByItsCodeThoughTheIdleTimeIsOverFirst) {
    exits(95, 3);
    EXPECT_TRUE(goesOnAt(101));
    EXPECT_EQ(failureAt(106), "Codex exited with code 3 without posting a completion comment.");
}

TEST_F(NextStepTest, ADeathBySignalIsToldByTheSignalsName) {
    exits(20, 128 + SIGSEGV);
    EXPECT_EQ(failureAt(31), "Codex was ended by SIGSEGV without posting a completion comment.");
    EXPECT_EQ(describeUncleanExit(128 + SIGKILL),
              "Codex was ended by SIGKILL without posting a completion comment.");
    EXPECT_EQ(describeUncleanExit(128), "Codex exited with code 128 without posting a completion comment.");
}

TEST_F(NextStepTest, ACleanExitFailsTheSessionOnlyAfterTheGraceForItsComment) {
    exits(20, 0);
    EXPECT_TRUE(goesOnAt(30));
    EXPECT_EQ(failureAt(31), "Codex exited without posting a completion comment.");
}

TEST_F(NextStepTest, SilenceFailsTheSessionAndOutputOrACommentEndsTheSilence) {
    EXPECT_TRUE(goesOnAt(100));
    EXPECT_EQ(failureAt(101), "Idle timeout elapsed before completion.");
    session.activity.lastOutputAt = at(50);
    EXPECT_TRUE(goesOnAt(150));
    session.activity.lastCommentPollWithNewCommentAt = at(140);
    EXPECT_TRUE(goesOnAt(240));
    EXPECT_EQ(failureAt(241), "Idle timeout elapsed before completion.");
}

TEST_F(NextStepTest, NoRuleFailsASessionWhoseReportMayBeThereUnseen) {
    exits(20, 3);
    EXPECT_TRUE(is<LookForComment>(31));
    session.commentsKnownAt = at(30);  // a comment may have come in the last second of the grace
    EXPECT_TRUE(is<LookForComment>(5000));
    session.commentsKnownAt = at(31);
    EXPECT_TRUE(is<SessionFailed>(5000));
}

TEST_F(NextStepTest, NeitherIsASilentSessionFailedBeforeItsCommentsAreKnown) {
    EXPECT_TRUE(is<LookForComment>(101));
    session.commentsKnownAt = at(101);
    EXPECT_TRUE(is<SessionFailed>(102));
    session.activity.lastOutputAt = at(50);
    EXPECT_TRUE(is<LookForComment>(151));
}

TEST_F(NextStepTest, CommentsThatCannotBeReadHoldNoOverdueSessionForEver) {
    session.commentTrouble = "It is not JSON.";
    exits(20, 0);
    EXPECT_TRUE(goesOnAt(30));
    const NextStep step = stepAt(31);
    ASSERT_TRUE(std::holds_alternative<SessionFailed>(step));
    EXPECT_EQ(
        std::get<SessionFailed>(step).reason,
        "Codex exited without posting a completion comment. Its comments cannot be read: It is not JSON.");
}

TEST_F(NextStepTest, AnItemThatWasTakenAwayCountsAboveEvenACompletion) {
    session.superseded = true;
    comments(CompletionOutcome::completed);
    session.stopRequested = true;
    EXPECT_TRUE(is<SessionSuperseded>(1));
}

TEST_F(NextStepTest, AnAgentThatDeniesTheConversationBeforeItsGoalIsTypedGetsAFreshOneAtOnce) {
    const Uuid conversation = randomUuid();
    resumes(conversation);
    session.lastWords = "Error: No saved session found with ID " + lowerCaseText(conversation);
    EXPECT_TRUE(goesOnAt(1));
    exits(2, 1);
    EXPECT_TRUE(is<ConversationUnknown>(2));
    EXPECT_EQ(std::get<ConversationUnknown>(stepAt(2)).conversation, conversation);
}

TEST_F(NextStepTest, AfterTheGoalWasTypedNoWordOfTheAgentMakesItStartAfresh) {
    resumes(randomUuid());
    session.lastWords = "session not found";
    session.goalTyped = true;
    exits(2, 1);
    EXPECT_TRUE(goesOnAt(2));
    EXPECT_EQ(failureAt(13), "Codex exited with code 1 without posting a completion comment.");
}

TEST_F(NextStepTest, AFreshRunOrACleanExitOrOtherWordsNeverDenyAConversation) {
    session.lastWords = "session not found";
    exits(2, 1);
    EXPECT_TRUE(goesOnAt(2));
    resumes(randomUuid());
    session.activity.exitCode = 0;
    EXPECT_FALSE(is<ConversationUnknown>(2));
    session.activity.exitCode = 1;
    session.lastWords = "panicked: index out of bounds";
    EXPECT_FALSE(is<ConversationUnknown>(2));
}

TEST_F(NextStepTest, AGoalThatTheAgentDoesNotTakeIsGivenToItInAFreshAttempt) {
    session.goalRefused = GoalRefused{.reason = "It took only a part."};
    EXPECT_EQ(std::get<GoalNotTaken>(stepAt(1)).reason, "It took only a part.");
}

TEST_F(NextStepTest, AnAgentThatCannotTakeAnyGoalBlocksMoreThanThisBug) {
    session.goalRefused = GoalRefused{.reason = "It knows no /goal.", .isAgentUnable = true};
    EXPECT_EQ(std::get<AgentBlocked>(stepAt(1)).cause, "It knows no /goal.");
}

TEST_F(NextStepTest, AQuestionBlocksAgentsAtOnceOrAfterTwoMinutesByItsKind) {
    struct Row {
        DialogKind kind;
        bool stopsEveryAgent;
        bool hasGoal;
        int blocksAfter;  // seconds; 0: never
    };
    for (const Row& row :
         {Row{DialogKind::login, true, false, 3}, Row{DialogKind::login, true, true, 3},
          Row{DialogKind::usageLimit, true, true, 3}, Row{DialogKind::trust, false, false, 120},
          Row{DialogKind::unknown, false, false, 120}, Row{DialogKind::unknown, true, true, 3},
          Row{DialogKind::approval, false, true, 0}}) {
        session.question = StandingQuestion{
            .kind = row.kind, .sentence = "It asks.", .stopsEveryAgent = row.stopsEveryAgent, .since = at(0)};
        session.goalAccepted = row.hasGoal;
        session.activity.lastOutputAt = at(200);
        const int last = row.blocksAfter > 0 ? row.blocksAfter : 200;
        EXPECT_TRUE(std::holds_alternative<KeepWatching>(stepAt(last - 1))) << nameOf(row.kind);
        const NextStep step = stepAt(last);
        const auto* blocked = std::get_if<AgentBlocked>(&step);
        EXPECT_EQ(blocked != nullptr, row.blocksAfter > 0) << nameOf(row.kind);
        EXPECT_EQ(blocked && blocked->limitsUse, row.kind == DialogKind::usageLimit) << nameOf(row.kind);
    }
}

TEST_F(NextStepTest, AQuestionThatIsAPersonsWaitsAsLongAsAnAgentMayBeSilentAndHoldsUpItsRepositoryOnly) {
    session.question = StandingQuestion{
        .kind = DialogKind::trust, .sentence = "It asks.", .isPersons = true, .since = at(0)};
    session.activity.lastOutputAt = at(600);
    const SessionTimeoutSettings patient{.idleTimeoutSeconds = 600, .postExitCommentGraceSeconds = 10};
    EXPECT_TRUE(std::holds_alternative<KeepWatching>(nextStep(session, at(599), patient)));
    const NextStep step = nextStep(session, at(600), patient);
    ASSERT_TRUE(std::holds_alternative<AgentBlocked>(step));
    EXPECT_TRUE(std::get<AgentBlocked>(step).concernsRepository);
}

TEST_F(NextStepTest, SilenceFailsNoBugWhileItsAgentAsksBeforeItHasItsGoal) {
    session.goalAccepted = false;
    session.activity.lastOutputAt = at(0);
    session.question = StandingQuestion{.kind = DialogKind::unknown, .sentence = "It asks.", .since = at(1)};
    const SessionTimeoutSettings hasty{.idleTimeoutSeconds = 60, .postExitCommentGraceSeconds = 10};
    EXPECT_TRUE(std::holds_alternative<KeepWatching>(nextStep(session, at(100), hasty)));
    EXPECT_TRUE(std::holds_alternative<AgentBlocked>(nextStep(session, at(121), hasty)));
}

TEST_F(NextStepTest, TheTimeOfAQuestionCountsAnewAfterASleep) {
    session.question = StandingQuestion{.kind = DialogKind::unknown, .sentence = "It asks.", .since = at(0)};
    const WatchedSession counted = countedSince(at(5000), at(5001), session);
    EXPECT_EQ(counted.question->since, at(5000));
    EXPECT_FALSE(agentBlocked(counted, at(5001), {}));
    EXPECT_TRUE(agentBlocked(counted, at(5120), {}));
}

struct LastWords {
    const char* text;
    bool denies;
};

void PrintTo(const LastWords& row, std::ostream* out) {
    *out << (row.denies ? "a denial" : "no denial");
}

class DeniesConversationTest : public testing::TestWithParam<LastWords> {};

TEST_P(DeniesConversationTest, IsReadFromTheAgentsLastWords) {
    const Uuid conversation = *parseUuid("0F1E2D3C-4B5A-4697-8877-665544332211");
    EXPECT_EQ(deniesConversation(GetParam().text, conversation), GetParam().denies);
}

INSTANTIATE_TEST_SUITE_P(
    Words, DeniesConversationTest,
    testing::Values(LastWords{"No saved session found with ID 0f1e2d3c-4b5a-4697-8877-665544332211", true},
                    LastWords{"cannot load 0F1E2D3C-4B5A-4697-8877-665544332211", true},
                    LastWords{"Session Not Found", true}, LastWords{"The conversation does not exist.", true},
                    LastWords{"Resuming 0f1e2d3c-4b5a-4697-8877-665544332211\nnetwork unreachable", false},
                    LastWords{"thread unknown", true}, LastWords{"session ended", false},
                    LastWords{"file not found", false}, LastWords{"", false}));

}  // namespace
}  // namespace quernlight::host
