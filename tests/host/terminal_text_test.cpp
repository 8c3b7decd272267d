#include "host/terminal_text.hpp"

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

TEST(TerminalTextTest, EveryResultHasExactlyTheWidthAskedFor) {
    for (std::size_t width = 0; width <= 12; ++width) {
        EXPECT_EQ(displayWidth(fitted("a日e\u0301\x1b本👍xyz", width)), width) << width;
    }
}

}  // namespace
}  // namespace quernlight::host
