#include "host/screen/composer.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/agent/agent_reading.hpp"
#include "tests/host/screen/recordings.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::EndsWith;

const std::string line(75, 'x');  // with a word behind it, too long for a row of 80

TEST(ComposerTest, WrappedLinesAreJoined) {
    EXPECT_EQ(composerText(screenOf({"› " + line, "  word", "  end"}, 2, 5)), line + " word\nend");
    EXPECT_EQ(composerText(screenOf({"› one", "", "  two"}, 2, 5)), "one\n\ntwo");
}

TEST(ComposerTest, AWordThatWasCutIsOneWord) {
    const std::string word(78, 'x');
    EXPECT_EQ(composerText(screenOf({"› " + word, "  tail"}, 1, 6)), word + "tail");
}

TEST(ComposerTest, WhatStandsBelowIsNotItsText) {
    EXPECT_EQ(composerText(screenOf({"› /exit", "", "  /exit  leave"}, 0, 7)), "/exit");
    EXPECT_EQ(composerText(recordedScreen("exit-typed-0.145.0")), "/exit");
}

TEST(ComposerTest, TheCursorMayStandWithinTheText) {
    EXPECT_EQ(composerText(screenOf({"› one", "  two", "", "  hints"}, 0, 3)), "one\ntwo");
}

TEST(ComposerTest, AQuestionsFieldForAnAnswerIsNone) {
    const std::string hint = "  enter to submit | esc to cancel";
    for (const ScreenPicture& picture :
         {screenOf({"  Field 1/1", "  Shall I delete everything?", "", "  \u203A ", "", hint}, 3, 4),
          screenOf({"  Shall I delete everything?", "  \u203A "}, 1, 4),
          screenOf({"Shall I delete everything?", "\u203A ", hint}, 1, 2)}) {
        const AgentActivity activity = agentActivity(picture);
        EXPECT_EQ(activity.state, AgentState::dialog);
        EXPECT_THAT(activity.dialog.value().question, EndsWith("Shall I delete everything?"));
        EXPECT_FALSE(readAgent(picture).composer);
    }
    EXPECT_FALSE(questionOfAnswerField(recordedScreen("idle-0.169.0")));
}

TEST(ComposerTest, AHintIsNoText) {
    ScreenPicture picture = screenOf({"› Ask anything"}, 0, 2);
    picture.brightLines.front() = "›";
    EXPECT_EQ(composerText(picture), "");
}

TEST(ComposerTest, AGoalIsReadWhole) {
    const std::string goal =
        "/goal Fix the bug in a.txt. It says x where y is wanted, and this line is long enough to be wrapped on a "
        "hundred columns, I think.\nSecond line of it.\n\nLast paragraph with some more words to fill the line up "
        "to its end and over, so that it wraps around once more.";
    EXPECT_EQ(composerText(recordedScreen("goal-typed-0.169.0")), goal);
    for (const std::string release : {"0.145.0", "0.169.0"}) {
        const auto composer = composerOn(recordedScreen("goal-typed-" + release));
        EXPECT_EQ(composerContent(composer.value(), goal), ComposerContent::whole);
    }
}

TEST(ComposerTest, OfAGoalThatDoesNotFitTheEndIsSeen) {
    std::string goal = "/goal ";
    for (int number = 0; number < 9; ++number) {
        goal +=
            "Paragraph " + std::to_string(number) +
            " says what is wrong with the program, in words that fill more than two lines of a terminal of "
            "eighty columns, so that wrapping, and scrolling, are needed; see "
            "https://example.com/a/very/long/address/that/is/longer/than/a/line/of/the/terminal/" +
            std::string(static_cast<std::size_t>(20 * (number % 3)), 'x') + "/end.\n\n";
    }
    for (const std::string release : {"0.145.0", "0.169.0"}) {
        const auto composer = composerOn(recordedScreen("long-typed-" + release));
        EXPECT_EQ(composerContent(composer.value(), goal), ComposerContent::end);
    }
}

TEST(ComposerTest, APlaceholderOfAPasteIsCounted) {
    EXPECT_THAT(composerOn(recordedScreen("pasted-0.169.0")).value().pastes, ElementsAre(1500));
    const auto two =
        composerOn(screenOf({"› a [Pasted Content 9 chars][Pasted Content 1200 chars] #2 b"}, 0, 5));
    EXPECT_THAT(two.value().pastes, ElementsAre(9, 1200));
    const auto none = composerOn(screenOf({"› [Pasted Content x chars] [Pasted Content 12 charred]"}, 0, 5));
    EXPECT_THAT(none.value().pastes, ElementsAre());
}

/// What stands in the composer, of the text "one two three".
struct Written {
    std::string name, text;
    ComposerContent content;
};

class ComposerContentTest : public testing::TestWithParam<Written> {};

TEST_P(ComposerContentTest, IsComparedWithoutWhiteSpace) {
    const auto composer = composerOn(screenOf({"› " + GetParam().text}, 0, 2));
    EXPECT_EQ(composerContent(composer.value(), "one two\r\nthree"), GetParam().content);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ComposerContentTest,
    testing::Values(Written{"Nothing", "", ComposerContent::empty},
                    Written{"All", "one  two three", ComposerContent::whole},
                    Written{"TheBeginning", "one tw", ComposerContent::beginning},
                    Written{"TheEnd", "o three", ComposerContent::end},
                    Written{"More", "one two three four", ComposerContent::other},
                    Written{"Twice", "one two three one two three", ComposerContent::other},
                    Written{"APaste", "[Pasted Content 12 chars]", ComposerContent::whole},
                    Written{"TextAndAPaste", "one [Pasted Content 7 chars]", ComposerContent::whole},
                    Written{"APasteAndText", "[Pasted Content 7 chars] #1 three", ComposerContent::whole},
                    Written{"OtherTextAndAPaste", "uno [Pasted Content 7 chars]", ComposerContent::other}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace quernlight::host
