#include "host/session/standing_question.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/screen/screen_model.hpp"

namespace quernlight::host {
namespace {

using testing::HasSubstr;

const Instant now = parseInstant("2026-03-04T05:06:07Z").value();

/// What stands on a terminal on which that was written; nothing of it has a cursor.
ScreenPicture drawn(const std::string& text) {
    ScreenModel model(100, 30);
    model.write("\x1b[?25l" + text);
    return model.picture();
}

std::optional<StandingQuestion> questionIn(const std::string& text, bool hasGoal = false,
                                           bool answersDialogs = true) {
    return questionOn(drawn(text), now, {.hasGoal = hasGoal, .answersDialogs = answersDialogs});
}

constexpr auto replaceGoal = "  Replace goal?\r\n\r\n\u203A 1. Replace current goal\r\n  2. Cancel";
constexpr auto limit = "\u25A0 You've hit your usage limit. Try again in 2 hours.\r\n\r\n\x1b[?25h\u203A ";

TEST(StandingQuestionTest, WithoutAQuestionNothingStandsInTheWay) {
    EXPECT_FALSE(questionIn("working on it"));
    EXPECT_FALSE(questionIn("\x1b[?25h\x1b]0;shop\x07\u203A "));
}

TEST(StandingQuestionTest, AQuestionIsToldWithItsKindAndItsWords) {
    const auto question = questionIn("  Do you trust this folder?\r\n\r\n\u203A 1. Yes\r\n  2. No");
    ASSERT_TRUE(question);
    EXPECT_EQ(question->kind, DialogKind::trust);
    EXPECT_EQ(question->sentence, "The agent asks (trust question): Do you trust this folder?");
    EXPECT_EQ(question->since, now);
}

TEST(StandingQuestionTest, AnAgentThatIsNotLoggedInIsToldSo) {
    const auto question = questionIn("Welcome\r\n\r\n\u203A 1. Sign in\r\n  2. Provide your own API key");
    ASSERT_TRUE(question);
    EXPECT_EQ(question->sentence, "The agent is not logged in; run it by hand once and log in.");
}

TEST(StandingQuestionTest, QuestionsAboutGoalsAreLeftToWhoTypesThem) {
    EXPECT_FALSE(questionIn(replaceGoal));
    EXPECT_TRUE(questionIn(replaceGoal, false, false)) << "nobody answers it";
    EXPECT_TRUE(questionIn(replaceGoal, true)) << "nobody types any more";
}

TEST(StandingQuestionTest, ALimitOfUseStandsUntilTheTimeThatItNames) {
    const auto question = questionIn(limit, true);
    ASSERT_TRUE(question);
    EXPECT_EQ(question->kind, DialogKind::usageLimit);
    EXPECT_EQ(question->until, now + std::chrono::hours(2));
    EXPECT_THAT(question->sentence, HasSubstr("The agent's use is limited until "));
}

TEST(StandingQuestionTest, ATimeThatIsCountedMakesNoOtherQuestion) {
    StandingQuestion later = *questionIn(limit, true);
    later.sentence = "The agent's use is limited until 11:22:33.";
    EXPECT_TRUE(isSameQuestion(*questionIn(limit, true), later));
    EXPECT_FALSE(isSameQuestion(*questionIn(replaceGoal, true), later));
}

TEST(StandingQuestionTest, ALimitThatAnEarlierRunHasMetIsNone) {
    EXPECT_FALSE(questionIn(limit, false));
}

TEST(StandingQuestionTest, AnAgentThatTriesToReachItsModelForMinutesIsToldOf) {
    const auto trial =
        questionIn("\u25E6 Reconnecting... waiting for network (32s \u2022 esc to interrupt)\r\n", true);
    const auto later =
        questionIn("\u2022 Reconnecting... waiting for network (1m 02s \u2022 esc to interrupt)\r\n", true);
    ASSERT_TRUE(trial && later);
    EXPECT_EQ(trial->sentence, "The agent cannot reach its model: Reconnecting... waiting for network");
    EXPECT_TRUE(isSameQuestion(*trial, *later)) << later->sentence;
    EXPECT_EQ(trial->patience, std::chrono::minutes(2));
    EXPECT_FALSE(trial->stopsEveryAgent);
    EXPECT_FALSE(questionIn("\u25E6 Working (32s \u2022 esc to interrupt)\r\n", true));
}

struct Rest {
    const char* name;
    const char* screen;  // above an empty composer
    bool hasGoal;
    std::optional<GoalStatus> status;
    const char* sentence;  // empty: nothing stands in the way
    bool stopsEveryAgent = false;
    bool tellsNoStatus = false;
};

void PrintTo(const Rest& row, std::ostream* out) {
    *out << row.name;
}

class AgentAtRestTest : public testing::TestWithParam<Rest> {};

TEST_P(AgentAtRestTest, HasStoppedWhereItsRecordsAndItsLastNoticeSaySo) {
    const Rest& row = GetParam();
    const auto question =
        questionOn(drawn(std::string(row.screen) + "\r\n\r\n\x1b[?25h\u203A "), now,
                   {.hasGoal = row.hasGoal, .goalStatus = row.status, .tellsNoStatus = row.tellsNoStatus});
    EXPECT_EQ(question ? question->sentence : "", row.sentence);
    EXPECT_EQ(question && question->stopsEveryAgent, row.stopsEveryAgent);
}

constexpr auto refusal = "\u25A0 unexpected status 401 Unauthorized";

INSTANTIATE_TEST_SUITE_P(
    Rows, AgentAtRestTest,
    testing::Values(Rest{"blocked, with a notice", refusal, true, GoalStatus::blocked,
                         "The agent has stopped: unexpected status 401 Unauthorized", true},
                    Rest{"before it has its goal", refusal, false, GoalStatus::blocked, ""},
                    Rest{"a notice while the goal is active", refusal, true, GoalStatus::active, ""},
                    Rest{"a notice and no record", refusal, true, std::nullopt, ""},
                    Rest{"a notice and a record without a status", refusal, true, std::nullopt,
                         "The agent has stopped: unexpected status 401 Unauthorized", true, true},
                    Rest{"its own words and no status", "\u2022 The 401 status is handled now.", true,
                         std::nullopt, "", false, true},
                    Rest{"blocked, as its model has decided", "I cannot go on.", true, GoalStatus::blocked,
                         "The agent has stopped, and calls its goal blocked; look at its terminal."},
                    Rest{"paused", "Hm.", true, GoalStatus::paused,
                         "The agent has stopped, and calls its goal paused; look at its terminal."},
                    Rest{"done", "Done.", true, GoalStatus::complete, ""},
                    Rest{"a limit that the screen does not tell", "Hm.", true, GoalStatus::usageLimited,
                         "The agent's use is limited.", true}));

}  // namespace
}  // namespace quernlight::host
