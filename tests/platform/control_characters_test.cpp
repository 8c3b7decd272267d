#include "quernlight/platform/control_characters.hpp"

#include <gtest/gtest.h>

namespace quernlight {
namespace {

TEST(ControlCharactersTest, EachControlCharacterAndLineSeparatorIsOneBlank) {
    EXPECT_EQ(blankedControls("a\r\n\t\x1b\x7f\u0085\u009f\u2028\u2029z"), "a         z");
    EXPECT_EQ(blankedControls(std::string_view("a\0z", 3)), "a z");
    EXPECT_EQ(blankedControls("Grüße › 日本\u00a0👍"), "Grüße › 日本\u00a0👍");
    EXPECT_EQ(blankedControls("a\xffz"), "a\uFFFDz");
}

TEST(ControlCharactersTest, WhatActsIsEscapedSoThatItCanBeSeen) {
    EXPECT_EQ(escapedLine("a\r\n\tb\x1b[2J\x7f\u009b", 99), R"(a\r\n\tb\x1b[2J\x7f\x9b)");
    EXPECT_EQ(escapedLine("\u061c\u200e\u200f\u2028\u2029\u202a\u202e\u2066\u2069", 99),
              R"(\u061c\u200e\u200f\u2028\u2029\u202a\u202e\u2066\u2069)");
    EXPECT_EQ(escapedLine("Grüße › 日本 👍", 99), "Grüße › 日本 👍");
}

TEST(ControlCharactersTest, AnEscapedLineHasAtMostAsManyCharactersAsAsked) {
    EXPECT_EQ(escapedLine("äbc", 3), "äbc");
    EXPECT_EQ(escapedLine("äbcd", 3), "äb…");
    EXPECT_EQ(escapedLine("日本語日本語日本語", 3), "日本…");
    EXPECT_EQ(escapedLine("\x1b\x1b", 6), R"(\x1b\…)");
    EXPECT_EQ(escapedLine("abc", 0), "");
    EXPECT_EQ(escapedLine("", 3), "");
}

}  // namespace
}  // namespace quernlight
