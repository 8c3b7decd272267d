#include "host/screen/screen_model.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/screen/recordings.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<std::string> linesOf(const ScreenModel& model) {
    return model.picture().lines;
}

/// What a program writes to a terminal of 6 by 3, and what stands on it then.
struct Writing {
    std::string name;
    std::string bytes;
    std::vector<std::string> lines;
    int row, column;  // of the cursor
};

class ScreenModelWritingTest : public testing::TestWithParam<Writing> {};

TEST_P(ScreenModelWritingTest, LeavesTheseLinesAndTheCursorThere) {
    ScreenModel model(6, 3);
    model.write(GetParam().bytes);
    EXPECT_EQ(linesOf(model), GetParam().lines);
    EXPECT_EQ(std::pair(model.picture().cursorRow, model.picture().cursorColumn),
              std::pair(GetParam().row, GetParam().column));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ScreenModelWritingTest,
    testing::Values(
        Writing{"LinesEndWithBoth", "ab\r\nc", {"ab", "c", ""}, 1, 1},
        Writing{"ALineFeedKeepsTheColumn", "ab\nc", {"ab", "  c", ""}, 1, 3},
        Writing{"AFullLineWrapsWithTheNextCharacter", "abcdef", {"abcdef", "", ""}, 0, 5},
        Writing{"TextWraps", "abcdefg", {"abcdef", "g", ""}, 1, 1},
        Writing{"WithoutWrappingTheLastColumnIsWrittenOver", "\x1b[?7labcdefg", {"abcdeg", "", ""}, 0, 5},
        Writing{"ABackspaceAtTheEndStandsOnTheColumnBefore", "abcdef\bx", {"abcdxf", "", ""}, 0, 5},
        Writing{"TabStopsAreEightApart", "a\tb", {"a    b", "", ""}, 0, 5},
        Writing{"AWideCharacterTakesTwoColumns", "日本x", {"日本x", "", ""}, 0, 5},
        Writing{"AWideCharacterIsNotCutAtTheEdge", "abcde日", {"abcde", "日", ""}, 1, 2},
        Writing{"HalfAWideCharacterIsBlank", "日\x1b[1;2Hx", {" x", "", ""}, 0, 2},
        Writing{"MarksJoinTheirLetter", "e\u0301x", {"e\u0301x", "", ""}, 0, 2},
        Writing{"AMarkBehindAMoveJoinsNothing", "e\x1b[1;2H\u0301", {"e", "", ""}, 0, 1},
        Writing{"WhatTurnsTheTextIsNotShown", "a\u202e\u200fb", {"ab", "", ""}, 0, 2},
        Writing{"WhatIsNoUtf8IsReplaced", "a\xff\xe6\x97z", {"a\ufffd\ufffdz", "", ""}, 0, 4},
        Writing{"TheScreenScrolls", "a\r\nb\r\nc\r\nd", {"b", "c", "d"}, 2, 1},
        Writing{"OnlyTheRegionScrolls", "a\r\nb\r\nc\x1b[1;2r\x1b[2;1H\nd", {"b", "d", "c"}, 1, 1},
        Writing{"AReverseLineFeedScrollsDown", "a\r\nb\x1b[H\x1bMc", {"c", "a", "b"}, 0, 1},
        Writing{"LinesAreInserted", "a\r\nb\r\nc\x1b[2;1H\x1b[L", {"a", "", "b"}, 1, 0},
        Writing{"LinesAreDeleted", "a\r\nb\r\nc\x1b[2;1H\x1b[M", {"a", "c", ""}, 1, 0},
        Writing{"CellsAreInserted", "abc\x1b[1;2H\x1b[2@", {"a  bc", "", ""}, 0, 1},
        Writing{"CellsAreDeleted", "abcd\x1b[1;2H\x1b[2P", {"ad", "", ""}, 0, 1},
        Writing{"CellsAreErased", "abcd\x1b[1;2H\x1b[2X", {"a  d", "", ""}, 0, 1},
        Writing{"TheLineIsErasedToItsEnd", "abcd\x1b[1;3H\x1b[K", {"ab", "", ""}, 0, 2},
        Writing{"TheLineIsErasedFromItsStart", "abcd\x1b[1;3H\x1b[1K", {"   d", "", ""}, 0, 2},
        Writing{"TheScreenIsErasedToItsEnd", "a\r\nbc\r\nd\x1b[2;2H\x1b[J", {"a", "b", ""}, 1, 1},
        Writing{"TheScreenIsErased", "a\r\nb\x1b[2J", {"", "", ""}, 1, 1},
        Writing{"CharactersAreRepeated", "ab\x1b[3b", {"abbbb", "", ""}, 0, 5},
        Writing{"NothingIsRepeatedBehindAMove", "ab\x1b[H\x1b[3b", {"ab", "", ""}, 0, 0},
        Writing{"TheCursorIsSavedAndRestored", "a\x1b[s\r\nb\x1b[uc", {"ac", "b", ""}, 0, 2},
        Writing{"TheCursorStaysOnTheScreen", "\x1b[99;99H\x1b[9B\x1b[9C", {"", "", ""}, 2, 5},
        Writing{"LinesAndBoxesAreDrawn", "\x1b(0lqk\x1b(Bq", {"┌─┐q", "", ""}, 0, 4},
        Writing{"SequencesForTheKeyboardMoveNothing", "ab\x1b[>7u\x1b[<1u\x1b[=1;1uc", {"abc", "", ""}, 0, 3},
        Writing{"TheAlternateScreenIsAnother", "ab\x1b[?1049hx", {"  x", "", ""}, 0, 3},
        Writing{"TheMainScreenComesBack", "ab\x1b[?1049h\x1b[Hx\x1b[?1049lc", {"abc", "", ""}, 0, 3},
        Writing{"CommandsAreNotShown", "a\x1b]7;x\x1b\\b\x1bPq1\x1b\\c\x1b_G\x1b\\d", {"abcd", "", ""}, 0, 4},
        Writing{"ACancelledSequenceIsNot",
                "a\x1b[3\x18"
                "b",
                {"ab", "", ""},
                0,
                2},
        Writing{"AResetClearsAll",
                "ab\x1b[1;2r\x1b[?25l\x1b"
                "c",
                {"", "", ""},
                0,
                0}),
    [](const auto& row) { return row.param.name; });

/// The modes and the title, which may be split anywhere.
TEST(ScreenModelTest, KnowsTheTitleAndTheModes) {
    ScreenModel model(80, 24);
    for (const char byte : std::string("\x1b]0;⠋ app\a\x1b[?2004;25l\x1b[?2004h\x1b[?2026h\x1b[?1049h")) {
        model.write({&byte, 1});
    }
    const ScreenPicture picture = model.picture();
    EXPECT_EQ(picture.title, "⠋ app");
    EXPECT_TRUE(picture.bracketedPaste && picture.beingDrawn && picture.alternateScreen);
    EXPECT_FALSE(picture.cursorShown);
}

TEST(ScreenModelTest, ATitleIsKeptAndTakenBack) {
    ScreenModel model(80, 24);
    model.write("\x1b]2;one\x1b\\\x1b[22;0t\x1b]2;two\x1b\\");
    EXPECT_EQ(model.picture().title, "two");
    model.write("\x1b[23;0t");
    EXPECT_EQ(model.picture().title, "one");
}

TEST(ScreenModelTest, ATitleDoesNotActOnWhatShowsIt) {
    ScreenModel model(80, 24);
    model.write("\x1b]0;a\u202e\u009bb\a");
    EXPECT_EQ(model.picture().title.find('\x1b'), std::string::npos);
    EXPECT_EQ(model.picture().title, "a");
}

TEST(ScreenModelTest, WhatIsDimIsBlankInTheBrightLines) {
    ScreenModel model(20, 1);
    model.write("a\x1b[2mb\x1b[22mc\x1b[38;2;2;2;2md\x1b[0;2me\x1b[mf\x1b[38:2::2:2:2mg");
    EXPECT_THAT(linesOf(model), ElementsAre("abcdefg"));
    EXPECT_THAT(model.picture().brightLines, ElementsAre("a cd fg"));
}

TEST(ScreenModelTest, LinesThatScrollOffTheTopAreKeptUpToABound) {
    ScreenModel model(10, 2, 3);
    model.write("1\r\n2\r\n3\r\n4\r\n5\r\n6");
    EXPECT_THAT(model.scrollBack(), ElementsAre("2", "3", "4"));
    model.write("\x1b[?1049h7\r\n8\r\n9\x1b[?1049l");
    EXPECT_THAT(model.scrollBack(), SizeIs(3));
    model.write("\x1b[3J");
    EXPECT_THAT(model.scrollBack(), IsEmpty());
}

TEST(ScreenModelTest, ASmallerScreenKeepsTheLinesAroundTheCursor) {
    ScreenModel model(4, 4);
    model.write("a\r\nb\r\ncdef\x1b[2;4r\x1b[3;3H");
    model.resize(3, 2);
    EXPECT_THAT(linesOf(model), ElementsAre("b", "cde"));
    EXPECT_THAT(model.scrollBack(), ElementsAre("a"));
    model.write("\n\n\nx");  // the scrolling region is gone
    EXPECT_THAT(linesOf(model), ElementsAre("", "  x"));
    model.resize(5, 3);
    EXPECT_THAT(linesOf(model), ElementsAre("", "  x", ""));
}

TEST(ScreenModelTest, EverySizeIsPossible) {
    ScreenModel model(0, -5);
    model.write("a日b");
    EXPECT_EQ(model.picture().rows, 1);
    model.resize(1'000'000'000, 1'000'000'000);
    EXPECT_EQ(model.picture().columns, ScreenModel::largest.columns);
    model.write("\x1b[999999999;999999999H\x1b[999999999@\x1b[999999999L\x1b[99999999999999999999S\x1b[9Z");
    EXPECT_EQ(model.picture().rows, ScreenModel::largest.rows);
}

/// What a program asks its terminal, and the answer.
struct Question {
    std::string name;
    std::string asked, answer;
};

class ScreenModelQuestionTest : public testing::TestWithParam<Question> {};

TEST_P(ScreenModelQuestionTest, IsAnsweredOnceWhereverItIsCut) {
    for (std::size_t cut = 0; cut <= GetParam().asked.size(); ++cut) {
        ScreenModel model(80, 24);
        model.write("ab\r\nc" + GetParam().asked.substr(0, cut));
        std::string answer = model.takeAnswers();
        model.write(GetParam().asked.substr(cut) + "d");
        EXPECT_EQ(answer + model.takeAnswers(), GetParam().answer);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ScreenModelQuestionTest,
    testing::Values(Question{"Status", "\x1b[5n", "\x1b[0n"},
                    Question{"CursorPosition", "\x1b[6n", "\x1b[2;2R"},
                    Question{"ExtendedCursorPosition", "\x1b[?6n", "\x1b[?2;2R"},
                    Question{"Attributes", "\x1b[c", "\x1b[?62;22c"},
                    Question{"SecondaryAttributes", "\x1b[>c", "\x1b[>1;10;0c"},
                    Question{"Keyboard", "\x1b[?u", "\x1b[?0u"},
                    Question{"Foreground", "\x1b]10;?\x1b\\", "\x1b]10;rgb:e5e5/e5e5/e5e5\x1b\\"},
                    Question{"BackgroundWithABell", "\x1b]11;?\a", "\x1b]11;rgb:0000/0000/0000\a"},
                    Question{"ModeThatIsOn", "\x1b[?2004h\x1b[?2004$p", "\x1b[?2004;1$y"},
                    Question{"ModeThatIsOff", "\x1b[?2026$p", "\x1b[?2026;2$y"},
                    Question{"ModeThatIsNotKnown", "\x1b[?31337$p", "\x1b[?31337;0$y"},
                    Question{"Size", "\x1b[18t", "\x1b[8;24;80t"},
                    Question{"ColourThatIsSet", "\x1b]10;#fff\a", ""},
                    Question{"AnAnswerIsNoQuestion", "\x1b[?62;22c", ""}),
    [](const auto& row) { return row.param.name; });

TEST(ScreenModelTest, AnswersThatNobodyTakesDoNotGrow) {
    ScreenModel model(80, 24);
    for (int asked = 0; asked < 10'000; ++asked) {
        model.write("\x1b[6n\x1b]11;?\a");
    }
    EXPECT_LE(model.takeAnswers().size(), ScreenModel::mostAnswerBytes);
}

TEST(ScreenModelTest, ACommandWithoutAnEndIsNotKept) {
    ScreenModel model(80, 24);
    model.write("\x1b]0;title\a\x1b]0;");
    const std::string megabyte(1 << 20, 'x');
    for (int written = 0; written < 8; ++written) {
        model.write(megabyte);
    }
    model.write("\aafter");
    EXPECT_EQ(model.picture().title, "title");
    EXPECT_EQ(linesOf(model).front(), "after");
}

TEST(ScreenModelTest, AfterBytesThatWereLeftOutASequenceBeginsAnew) {
    ScreenModel model(20, 1);
    model.write("a\x1b[3");
    model.skip(100);
    model.write("mb");
    EXPECT_THAT(linesOf(model), ElementsAre("amb"));
    EXPECT_EQ(model.picture().skipped, 100U);
    EXPECT_EQ(model.picture().bytes, 106U);
}

class ScreenModelRecordingTest : public testing::TestWithParam<std::string> {};

TEST_P(ScreenModelRecordingTest, LooksTheSameWhereverItIsSplit) {
    const std::string bytes = recording(GetParam());
    const ScreenPicture whole = recordedScreen(GetParam());
    const TerminalSize size = sizeOfRecording(GetParam());
    for (const std::size_t step : {1U, 2U, 3U, 7U, 64U}) {
        ScreenModel model(size.columns, size.rows);
        for (std::size_t at = 0; at < bytes.size(); at += step) {
            model.write(std::string_view(bytes).substr(at, step));
        }
        EXPECT_EQ(model.picture(), whole) << "split after every " << step << " bytes";
    }
}

INSTANTIATE_TEST_SUITE_P(All, ScreenModelRecordingTest, testing::ValuesIn(recordingNames()),
                         [](const auto& row) { return testName(row.param); });

}  // namespace
}  // namespace quernlight::host
