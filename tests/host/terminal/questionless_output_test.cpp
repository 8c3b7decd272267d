#include "host/terminal/questionless_output.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/screen/screen_model.hpp"

namespace quernlight::host {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(QuestionlessOutputTest, WhatDrawsGoesOnAsItIs) {
    for (const std::string written :
         {"plain \xe6\xbc\xa2 text\r\n\t\b\a", "\x1b[1;31m\x1b[38:2::1:2:3m\x1b[m",
          "\x1b[2J\x1b[H\x1b[10;20H\x1b[K", "\x1b[?1049h\x1b[?25l\x1b[?1;2004h\x1b[?1002;1006h\x1b[?2026h",
          "\x1b\x37\x1b\x38\x1bM\x1b(0\x1b)B\x0e", "\x1b]0;title\a\x1b]8;;https://a.example\x1b\\\x1b[m",
          "\x1b[2 q\x1b[!p\x1b[4h", "\x1b[3;5r\x1b[2L\x1b[2S"}) {
        EXPECT_EQ(QuestionlessOutput().pass(written), written);
    }
}

TEST(QuestionlessOutputTest, WhatMakesATerminalAnswerOrReachesBeyondItIsLeftOut) {
    const struct {
        const char* name;
        const char* written;
    } rows[] = {
        {"the cursor's place", "\x1b[6n"},
        {"the same, the other way", "\x1b[?6n"},
        {"its status", "\x1b[5n"},
        {"what it is", "\x1b[c"},
        {"what it is, again", "\x1b[>0c"},
        {"what it is, once more", "\x1b[=c"},
        {"the same in short", "\x1bZ"},
        {"its name", "\x1b[>q"},
        {"a mode", "\x1b[?2026$p"},
        {"its keyboard", "\x1b[?u"},
        {"other keys", "\x1b[>7u"},
        {"yet other keys", "\x1b[>4;2m"},
        {"its size", "\x1b[18t"},
        {"its window", "\x1b[8;10;10t"},
        {"its parameters", "\x1b[x"},
        {"a checksum", "\x1b[1;1;1;1;1;1*y"},
        {"its colours", "\x1b]11;?\a"},
        {"a colour", "\x1b]4;1;?\x1b\\"},
        {"the clipboard", "\x1b]52;c;aGVsbG8=\a"},
        {"a setting", "\x1bP$qm\x1b\\"},
        {"a capability", "\x1bP+q544e\x1b\\"},
        {"graphics", "\x1b_Ga=q;\x1b\\"},
        {"the answerback", "\x05"},
        {"reports of its colours", "\x1b[?2031h"},
        {"reports of its size", "\x1b[?2048h"},
        {"a locked keyboard", "\x1b[2h"},
        {"in the form of one character",
         "\xc2\x9b"
         "6n"},
        {"its printer", "\x1b[5i"},
    };
    for (const auto& row : rows) {
        const std::string passed = QuestionlessOutput().pass("a" + std::string(row.written) + "b");
        EXPECT_EQ(passed, "ab") << row.name;
    }
}

TEST(QuestionlessOutputTest, ItDoesNotMatterWhereTheOutputIsSplit) {
    const std::string written = "a\x1b[6n\x1b[1;31m\xe6\xbc\xa2\x1b]11;?\x1b\\\x1b]2;t\x1b\\\x1b[?2004hb";
    QuestionlessOutput bytewise;
    std::string passed;
    for (const char byte : written) {
        passed += bytewise.pass(std::string(1, byte));
    }
    EXPECT_EQ(passed, QuestionlessOutput().pass(written));
    EXPECT_EQ(passed, "a\x1b[1;31m\xe6\xbc\xa2\x1b]2;t\x1b\\\x1b[?2004hb");
}

TEST(QuestionlessOutputTest, ATerminalIsPutBack) {
    ScreenModel terminal(20, 5);
    terminal.write("$ attach");
    const TerminalModes fresh;
    QuestionlessOutput output;
    terminal.write(output.pass(
        "\x1b[?1049h\x1b[?1h\x1b[?25l\x1b[?7l\x1b[?2004h\x1b[?1003;1006h\x1b[?1004h\x1b[?6h\x1b[2;4r\x1b[7m\x1b(0\x1b=half\x1b["));
    terminal.write(output.undone());
    const ScreenPicture picture = terminal.picture();
    EXPECT_EQ(picture.lines.at(0), "$ attach");
    EXPECT_TRUE(picture.cursorShown);
    EXPECT_FALSE(picture.alternateScreen);
    EXPECT_FALSE(picture.bracketedPaste);
    ScreenModel unused(20, 5);
    unused.write("$ attach\x1b\x37\x1b[H");
    terminal.write("\x1b[H");
    EXPECT_EQ(terminal.painting().screen, unused.painting().screen);
}

TEST(QuestionlessOutputTest, OnlyWhatWasSwitchedOnIsSwitchedOff) {
    QuestionlessOutput output;
    output.pass("\x1b[?1000h\x1b[?1049h\x1b[?1049l");
    EXPECT_THAT(output.undone(), HasSubstr("\x1b[?1000l"));
    EXPECT_THAT(output.undone(), Not(HasSubstr("1049")));
}

}  // namespace
}  // namespace quernlight::host
