#include "host/session/goal_delivery.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr auto goal =
    "/goal\nFix bug 3f2a9c1d.\n\nThe session's id is 0A000000-0000-4000-8000-00000000000A.\n";
constexpr auto text = "Fix bug 3f2a9c1d.\n\nThe session's id is 0A000000-0000-4000-8000-00000000000A.";

/// A delivery against a screen that a test sets, looked at every tenth of a second.
class GoalDeliveryTest : public testing::Test {
  protected:
    GoalDeliveryTest() {
        seen.screen.lines = {"\u203A /goal", "", "  /goal  set a goal"};
        empty();
    }

    // The screen
    void empty() { hold(""); }
    void hold(const std::string& draft) {
        seen.screen.activity = {.state = AgentState::idle};
        seen.screen.bracketedPaste = true;
        seen.screen.composer = Composer{.row = composerRow, .text = draft};
        seen.screen.summary = "› " + draft;
    }
    void ask(DialogKind kind, std::vector<DialogOption> options) {
        seen.screen.activity = {
            .state = AgentState::dialog,
            .dialog = Dialog{.kind = kind, .question = "Well?", .options = std::move(options)}};
        seen.screen.composer.reset();
    }
    void askWhetherToResume(bool isResumeSelected) {
        ask(DialogKind::resumeGoal,
            {{1, "Resume goal", isResumeSelected}, {2, "Leave paused", !isResumeSelected}});
    }
    void askWhetherToReplace(bool isReplaceSelected = true) {
        ask(DialogKind::replaceGoal,
            {{1, "Replace current goal", isReplaceSelected}, {2, "Cancel", !isReplaceSelected}});
    }
    void beWithoutQuestion(AgentState state) { seen.screen.activity = {.state = state}; }

    /// What is typed in so much time, each piece as a word or two.
    std::vector<std::string> typedIn(milliseconds time) {
        std::vector<std::string> typed;
        for (const auto end = now + time; now < end && !ended(); now += milliseconds(100)) {
            step = delivery->next(seen, now);
            if (const auto* wait = std::get_if<TellWait>(&step)) {
                told.push_back(wait->sentence);
            }
            if (const auto* keys = std::get_if<TypeKeys>(&step)) {
                typed.push_back(keys->keys);
                if (echoes) {
                    echo(keys->keys);
                }
            }
        }
        return typed;
    }
    bool ended() const { return isAccepted() || std::holds_alternative<GoalRefused>(step); }
    bool isAccepted() const { return std::holds_alternative<GoalAccepted>(step); }
    std::string refusal() const {
        const auto* refused = std::get_if<GoalRefused>(&step);
        return refused ? refused->reason : "";
    }

    int composerRow = 0;
    AgentSight seen{.record = {.match = GoalMatch::absent}};
    std::vector<std::string> told;
    bool echoes = true;                  // the composer shows what is typed
    bool takesEnter = true;              // and gives it to the agent
    GoalMatch after = GoalMatch::whole;  // what the records say then
    GoalDelivery::TimePoint now{};
    DeliveryStep step = KeepLooking{};
    std::optional<GoalDelivery> delivery{std::in_place, goalKeys(goal), DialogRules{}, now};

  private:
    void echo(std::string keys) {
        if (keys == "\n") {
            if (takesEnter) {
                empty();
                seen.record.match = after;
            }
            return;
        }
        for (const std::string mark : {"\x1b[200~", "\x1b[201~"}) {
            const auto at = keys.find(mark);
            keys = at == keys.npos ? keys : keys.erase(at, mark.size());
        }
        draft_ += keys;
        hold(draft_ == "/goal " ? "/goal" : draft_);
    }

    std::string draft_;
};

TEST_F(GoalDeliveryTest, TheCommandIsTypedAsKeysAndTheTextPastedBeforeASeparateEnter) {
    EXPECT_THAT(typedIn(seconds(5)),
                ElementsAre("/goal", " ", std::string("\x1b[200~") + text + "\x1b[201~", "\n"));
    EXPECT_TRUE(isAccepted());
}

TEST_F(GoalDeliveryTest, ALongTextIsPastedInPiecesThatNoCharacterIsCutBy) {
    const GoalKeys keys = goalKeys("/goal " + std::string(699, 'a') + "öß" + std::string(800, 'b'));
    ASSERT_EQ(keys.pastes.size(), 3U);
    EXPECT_EQ(keys.pastes[0], std::string(699, 'a') + "ö");
    EXPECT_EQ(keys.pastes[1], "ß" + std::string(699, 'b'));
    EXPECT_EQ(keys.pastes[0] + keys.pastes[1] + keys.pastes[2], keys.objective);
}

TEST_F(GoalDeliveryTest, NoTextCanLeaveItsPaste) {
    const GoalKeys keys = goalKeys("/goal a\x1b[201~\rb\x03");
    EXPECT_THAT(keys.pastes, ElementsAre("a [201~ b"));
}

TEST_F(GoalDeliveryTest, NothingIsTypedBeforeThereIsAnEmptyComposerThatTakesPastes) {
    seen.screen.composer.reset();
    EXPECT_THAT(typedIn(seconds(10)), IsEmpty());
    hold("somebody's draft");
    EXPECT_THAT(typedIn(seconds(10)), IsEmpty());
    empty();
    seen.screen.bracketedPaste = false;
    EXPECT_THAT(typedIn(seconds(10)), IsEmpty());
    seen.screen.bracketedPaste = true;
    empty();
    EXPECT_EQ(typedIn(milliseconds(100)), std::vector<std::string>{"/goal"});
}

TEST_F(GoalDeliveryTest, AnAgentThatSeemsToStartIsGivenTenSeconds) {
    seen.screen.activity.state = AgentState::starting;
    EXPECT_THAT(typedIn(seconds(10)), IsEmpty());
    EXPECT_EQ(typedIn(milliseconds(100)), std::vector<std::string>{"/goal"});
}

TEST_F(GoalDeliveryTest, AWaitForTheComposerIsToldOnceItLasts) {
    ask(DialogKind::trust, {{1, "Yes", true}, {2, "No", false}});
    seen.screen.summary = "Do you trust this? / 1. Yes";
    typedIn(seconds(3));
    EXPECT_THAT(told, IsEmpty());
    typedIn(seconds(60));
    EXPECT_THAT(told, ElementsAre("Waiting for the agent's composer; its screen shows: Do you trust this? / "
                                  "1. Yes"));
}

TEST_F(GoalDeliveryTest, AGoalThatIsTypedAtOnceTellsOfNoWait) {
    typedIn(seconds(10));
    EXPECT_TRUE(isAccepted());
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(GoalDeliveryTest, AComposerThatNeverComesIsToldWithWhatIsOnTheScreen) {
    seen.screen.composer.reset();
    seen.screen.summary = "$ _";
    typedIn(seconds(70));
    EXPECT_EQ(refusal(), "The agent shows no empty composer to type the goal into; its screen shows: $ _");
}

TEST_F(GoalDeliveryTest, AnAgentThatNeitherOffersTheCommandNorRecordsGoalsIsGivenNone) {
    seen.screen.lines.clear();
    seen.record.match = GoalMatch::unknown;
    EXPECT_THAT(typedIn(seconds(30)), ElementsAre("/goal"));
    EXPECT_THAT(refusal(), HasSubstr("knows no command /goal"));
    EXPECT_TRUE(std::get<GoalRefused>(step).isAgentUnable);
}

TEST_F(GoalDeliveryTest, AnAgentThatRecordsGoalsIsGivenOneThoughItIsNotSeenToOfferTheCommand) {
    seen.screen.lines.clear();
    EXPECT_THAT(typedIn(seconds(20)), ElementsAre("/goal"));
    EXPECT_THAT(typedIn(seconds(5)), ElementsAre(" ", testing::_, "\n"));
    EXPECT_TRUE(isAccepted());
}

TEST_F(GoalDeliveryTest, AnAgentThatSaysThatItKnowsNoSuchCommandIsUnable) {
    takesEnter = false;
    EXPECT_EQ(typedIn(seconds(2)).back(), "\n");
    seen.screen.lines = {"\u2022 Unrecognized command '/goal'.", "\u203A /goal Fix"};
    seen.screen.composer->row = 1;
    EXPECT_THAT(typedIn(seconds(5)), IsEmpty());
    EXPECT_THAT(refusal(), HasSubstr("knows no command /goal"));
    EXPECT_TRUE(std::get<GoalRefused>(step).isAgentUnable);
}

TEST_F(GoalDeliveryTest, ACommandThatWasUnknownToAnEarlierRunTellsNothing) {
    seen.screen.lines.insert(seen.screen.lines.begin(), "\u2022 Unrecognized command '/goal'.");
    composerRow = 1;
    empty();
    takesEnter = false;
    EXPECT_THAT(typedIn(seconds(10)), testing::SizeIs(5));
    EXPECT_FALSE(ended());
}

TEST_F(GoalDeliveryTest, AnAgentThatKeepsNoRecordsHasTheGoalWhenItWorksAndItsComposerIsEmpty) {
    seen.record.match = GoalMatch::unknown;
    after = GoalMatch::unknown;
    EXPECT_EQ(typedIn(seconds(4)).back(), "\n");
    EXPECT_FALSE(ended());
    seen.screen.activity.state = AgentState::working;
    typedIn(milliseconds(100));
    EXPECT_TRUE(isAccepted());
}

TEST_F(GoalDeliveryTest, AGoalOfWhichThereIsOnlyAPartIsRefused) {
    after = GoalMatch::part;
    typedIn(seconds(5));
    EXPECT_THAT(refusal(), HasSubstr("took only a part"));
}

TEST_F(GoalDeliveryTest, APartThatAnEarlierAttemptLeftBehindTellsNothing) {
    seen.record.match = GoalMatch::part;
    after = GoalMatch::part;
    typedIn(seconds(3));
    EXPECT_FALSE(ended());
    seen.record.match = GoalMatch::whole;
    typedIn(milliseconds(100));
    EXPECT_TRUE(isAccepted());
}

TEST_F(GoalDeliveryTest, RecordsThatCannotBeReadAreAskedUntilTheyTell) {
    after = GoalMatch::unknown;
    seen.record.allRead = false;
    typedIn(milliseconds(1500));
    seen.screen.activity.state = AgentState::working;
    typedIn(seconds(15));
    EXPECT_FALSE(ended());
    seen.record = {.match = GoalMatch::whole};
    typedIn(milliseconds(100));
    EXPECT_TRUE(isAccepted());
}

TEST_F(GoalDeliveryTest, WhereRecordsStayUnreadableTheScreenTellsInTheEnd) {
    after = GoalMatch::absent;
    seen.record.allRead = false;
    typedIn(milliseconds(1500));
    seen.screen.activity.state = AgentState::working;
    typedIn(seconds(2));
    empty();  // it is done by then
    typedIn(seconds(15));
    EXPECT_FALSE(ended());
    typedIn(seconds(10));
    EXPECT_TRUE(isAccepted());
}

TEST_F(GoalDeliveryTest, APartThatMayBeOlderThanTheTypingProvesNothing) {
    seen.record.allRead = false;
    typedIn(milliseconds(500));
    seen.record = {.match = GoalMatch::part};
    after = GoalMatch::part;
    typedIn(seconds(10));
    EXPECT_FALSE(ended());
    typedIn(seconds(30));
    EXPECT_THAT(refusal(), HasSubstr("has not taken the goal"));
}

TEST_F(GoalDeliveryTest, NothingIsPastedWhereTheComposerIsGone) {
    EXPECT_THAT(typedIn(milliseconds(200)), ElementsAre("/goal", " "));
    seen.screen.composer.reset();
    EXPECT_THAT(typedIn(seconds(30)), IsEmpty());
    EXPECT_THAT(refusal(), HasSubstr("composer is gone"));
}

TEST_F(GoalDeliveryTest, WithoutTheWholeTextInTheComposerThereIsNoEnter) {
    EXPECT_EQ(typedIn(milliseconds(700)).size(), 3U);
    hold("/goal Fix bug 3f2a9c1d.");
    EXPECT_THAT(typedIn(seconds(30)), IsEmpty());
    EXPECT_THAT(refusal(), HasSubstr("does not stand whole"));
}

TEST_F(GoalDeliveryTest, AComposerWithRoomOnlyForTheEndIsEnough) {
    EXPECT_EQ(typedIn(milliseconds(700)).size(), 3U);
    hold("The session's id is 0A000000-0000-4000-8000-00000000000A.");
    EXPECT_THAT(typedIn(seconds(2)), ElementsAre("\n"));
}

TEST_F(GoalDeliveryTest, EnterIsPressedOnceMoreOnlyWhileTheComposerHoldsTheText) {
    takesEnter = false;
    EXPECT_THAT(typedIn(seconds(3)), testing::SizeIs(4));
    EXPECT_THAT(typedIn(seconds(3)), ElementsAre("\n"));
    EXPECT_THAT(typedIn(seconds(30)), IsEmpty());
    EXPECT_THAT(refusal(), HasSubstr("has not taken the goal"));
}

TEST_F(GoalDeliveryTest, NothingIsTypedIntoADialogHoweverLongItStands) {
    ask(DialogKind::trust, {{1, "Yes", true}, {2, "No", false}});
    EXPECT_THAT(typedIn(seconds(300)), IsEmpty());
    EXPECT_FALSE(ended());
    empty();
    EXPECT_EQ(typedIn(milliseconds(100)), std::vector<std::string>{"/goal"});
}

TEST_F(GoalDeliveryTest, AnOldGoalGivesWayToTheNewOne) {
    after = GoalMatch::absent;
    EXPECT_EQ(typedIn(milliseconds(1500)).back(), "\n");
    askWhetherToReplace();
    EXPECT_EQ(typedIn(milliseconds(300)), std::vector<std::string>{"\n"});
    empty();
    seen.record.match = GoalMatch::whole;
    typedIn(milliseconds(100));
    EXPECT_TRUE(isAccepted());
}

TEST_F(GoalDeliveryTest, APausedGoalStaysSo) {
    echoes = false;
    askWhetherToResume(true);
    EXPECT_EQ(typedIn(milliseconds(100)), std::vector<std::string>{"\x1b[B"});
    EXPECT_THAT(typedIn(milliseconds(300)), IsEmpty());
    askWhetherToResume(false);
    EXPECT_EQ(typedIn(milliseconds(300)), std::vector<std::string>{"\n"});
}

TEST_F(GoalDeliveryTest, NoKeyFollowsAnotherBeforeTheSelectionIsSeenToMove) {
    echoes = false;
    askWhetherToResume(true);
    EXPECT_THAT(typedIn(seconds(10)), ElementsAre("\x1b[B"));
    askWhetherToResume(false);
    EXPECT_THAT(typedIn(seconds(10)), ElementsAre("\n"));
    EXPECT_FALSE(ended());
}

TEST_F(GoalDeliveryTest, AQuestionThatNoAnswerEndsIsAnsweredOnceAndThenToldWithTheRefusal) {
    echoes = false;
    askWhetherToReplace();
    EXPECT_THAT(typedIn(seconds(20)), ElementsAre("\n"));
    EXPECT_FALSE(ended());
    EXPECT_THAT(typedIn(seconds(1)), IsEmpty());
    EXPECT_THAT(refusal(), HasSubstr("asks (replace goal question) and does not go on though it was "
                                     "answered: Well?"));
}

TEST_F(GoalDeliveryTest, ASelectionThatDoesNotMoveIsToldWithTheRefusal) {
    echoes = false;
    askWhetherToResume(true);
    EXPECT_THAT(typedIn(seconds(30)), ElementsAre("\x1b[B"));
    EXPECT_THAT(refusal(), HasSubstr("asks (resume goal question)"));
}

TEST_F(GoalDeliveryTest, EnterIsNotPressedAgainThoughTheSelectionMoves) {
    echoes = false;
    askWhetherToReplace();
    EXPECT_THAT(typedIn(seconds(1)), ElementsAre("\n"));
    askWhetherToReplace(false);
    EXPECT_THAT(typedIn(seconds(10)), IsEmpty());
    askWhetherToReplace();
    EXPECT_THAT(typedIn(seconds(1)), IsEmpty());
}

TEST_F(GoalDeliveryTest, AQuestionIsNotGoneWhileNothingIsKnownOfTheScreen) {
    echoes = false;
    askWhetherToReplace();
    EXPECT_THAT(typedIn(seconds(1)), ElementsAre("\n"));
    beWithoutQuestion(AgentState::unknown);
    EXPECT_THAT(typedIn(seconds(1)), IsEmpty());
    askWhetherToReplace();
    EXPECT_THAT(typedIn(seconds(10)), IsEmpty());
}

TEST_F(GoalDeliveryTest, AQuestionThatComesAgainIsAnsweredAgainButNotForEver) {
    echoes = false;
    for (int time = 1; time <= 10; ++time) {
        askWhetherToReplace();
        EXPECT_THAT(typedIn(seconds(1)), ElementsAre("\n")) << time;
        beWithoutQuestion(AgentState::working);
        EXPECT_THAT(typedIn(seconds(1)), IsEmpty());
    }
    askWhetherToReplace();
    EXPECT_THAT(typedIn(seconds(1)), IsEmpty());
    EXPECT_THAT(refusal(), HasSubstr("though it was answered"));
}

TEST_F(GoalDeliveryTest, AnotherQuestionIsAnsweredThoughTheOneBeforeItWasNeverSeenToBeGone) {
    echoes = false;
    askWhetherToResume(false);
    EXPECT_THAT(typedIn(seconds(1)), ElementsAre("\n"));
    askWhetherToReplace();
    EXPECT_THAT(typedIn(seconds(1)), ElementsAre("\n"));
}

TEST_F(GoalDeliveryTest, TheTimeOfAnAnswerBeginsOnceItHasBeenSent) {
    echoes = false;
    askWhetherToReplace();
    EXPECT_THAT(typedIn(milliseconds(100)), ElementsAre("\n"));
    now += seconds(15);
    delivery->sent(now);
    typedIn(seconds(19));
    EXPECT_FALSE(ended());
}

TEST_F(GoalDeliveryTest, AnAnswerIsKnownByTheBeginningOfItsText) {
    echoes = false;
    ask(DialogKind::replaceGoal, {{1, "Cancel and replace nothing", true}, {2, "Replace it", false}});
    EXPECT_EQ(typedIn(milliseconds(100)), std::vector<std::string>{"\x1b[B"});
}

/// A second Enter that comes late would answer the question that the first one has brought up.
TEST_F(GoalDeliveryTest, EnterIsPressedOnlyOnceWhereAQuestionAboutAnOldGoalIsAPersons) {
    takesEnter = false;
    delivery.emplace(goalKeys(goal), DialogRules{.answersAboutGoals = false, .resumes = true}, now);
    EXPECT_THAT(typedIn(seconds(3)), testing::SizeIs(4));
    EXPECT_THAT(typedIn(seconds(30)), IsEmpty());
    EXPECT_THAT(refusal(), HasSubstr("has not taken the goal"));
}

TEST_F(GoalDeliveryTest, WhoeverAnswersDialogsByHandIsLeftToDoSo) {
    GoalDelivery byHand{goalKeys(goal), {.answersAboutGoals = false}, now};
    ask(DialogKind::replaceGoal, {{1, "Replace current goal", true}, {2, "Cancel", false}});
    EXPECT_FALSE(std::holds_alternative<TypeKeys>(byHand.next(seen, now + seconds(60))));
}

}  // namespace
}  // namespace quernlight::host
