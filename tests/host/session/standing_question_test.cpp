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
    return questionOn(drawn(text), now, hasGoal, answersDialogs);
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

}  // namespace
}  // namespace quernlight::host
