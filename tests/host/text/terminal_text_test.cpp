#include "host/text/terminal_text.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

TEST(TerminalTextTest, WideCharactersTakeTwoColumnsAndCombiningMarksNone) {
    EXPECT_EQ(displayWidth(""), 0U);
    EXPECT_EQ(displayWidth("Notes"), 5U);
    EXPECT_EQ(displayWidth("日本"), 4U);
    EXPECT_EQ(displayWidth("e\u0301"), 1U);
    EXPECT_EQ(displayWidth("👍"), 2U);
}

TEST(TerminalTextTest, AShortTextIsFilledWithBlanks) {
    EXPECT_EQ(fitted("ab", 4), "ab  ");
    EXPECT_EQ(fitted("日", 4), "日  ");
    EXPECT_EQ(fitted("e\u0301", 2), "e\u0301 ");
    EXPECT_EQ(fitted("", 2), "  ");
}

TEST(TerminalTextTest, ATextThatFitsExactlyIsLeftAsItIs) {
    EXPECT_EQ(fitted("abcd", 4), "abcd");
    EXPECT_EQ(fitted("日本", 4), "日本");
}

TEST(TerminalTextTest, ALongTextIsCutWithASign) {
    EXPECT_EQ(fitted("abcdef", 4), "abc…");
    EXPECT_EQ(fitted("ab", 1), "…");
    EXPECT_EQ(fitted("ab", 0), "");
}

TEST(TerminalTextTest, AWideCharacterIsNotCutInHalf) {
    EXPECT_EQ(fitted("日本語", 4), "日… ");
}

TEST(TerminalTextTest, ControlCharactersAreLeftOut) {
    EXPECT_EQ(fitted("a\x1b[2J\r\nb\u0085", 8), "a[2Jb   ");
    EXPECT_EQ(fitted("\x07\x7f", 2), "  ");
}

TEST(TerminalTextTest, ATextOfManyMegabytesIsCutBeforeItIsMeasured) {
    std::string marks = "a";
    for (int count = 0; count < 1'000'000; ++count) {
        marks += "\u0301";
    }
    EXPECT_LT(fitted(marks, 4).size(), 1000U);
    EXPECT_EQ(fitted(std::string(1 << 20, '\x1b') + "a", 4), "…   ");
    EXPECT_EQ(fitted(std::string(1 << 20, 'x'), 4), "xxx…");
}

TEST(TerminalTextTest, MarksThatTurnTheTextOrSeparateLinesAreNotShown) {
    const std::string turning = "a\u202eb\u2066c\u2069\u200f\u061cd\u2028e\u2029f";
    EXPECT_EQ(fitted(turning, 6), "abcdef");
    EXPECT_EQ(withoutControls(turning), "a b c d e f");
}

TEST(TerminalTextTest, EveryResultHasExactlyTheWidthAskedFor) {
    for (std::size_t width = 0; width <= 12; ++width) {
        EXPECT_EQ(displayWidth(fitted("a日e\u0301\x1b本👍xyz", width)), width) << width;
    }
}

}  // namespace
}  // namespace quernlight::host
