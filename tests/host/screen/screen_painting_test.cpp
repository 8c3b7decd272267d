#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/screen/screen_model.hpp"
#include "tests/host/screen/recordings.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

/// What a terminal that got the painting shows, modes and cursor included.
std::string shownBy(const ScreenModel& model) {
    const ScreenPainting painting = model.painting();
    ScreenModel other(painting.size.columns, painting.size.rows);
    other.write(painting.scrollBack + painting.screen);
    return other.painting().scrollBack + other.painting().screen;
}

class ScreenPaintingTest : public testing::Test {
  protected:
    std::string own() const { return model.painting().scrollBack + model.painting().screen; }

    ScreenModel model{20, 5};
};

TEST_F(ScreenPaintingTest, AnotherTerminalComesToShowTheSame) {
    const struct {
        const char* name;
        const char* written;
    } rows[] = {
        {"nothing", ""},
        {"text and cursor", "one\r\n  two"},
        {"attributes", "\x1b[1;3;4mbold\x1b[22;7mplain\x1b[9;5;8mmore\x1b[m rest"},
        {"colours", "\x1b[31;44mred\x1b[95;103mbright\x1b[38;5;200mpalette\x1b[48;2;1;2;3mdirect"},
        {"a colour with colons", "\x1b[38:2::10:20:30mdirect\x1b[4:3mcurly"},
        {"an erased part has its background", "\x1b[42m\x1b[2J\x1b[3;3Hx\x1b[K"},
        {"lines that come in have it, too", "\x1b[41m\x1b[5;1H\n\n\x1b[m"},
        {"wide characters and marks", "\xe6\xbc\xa2\xe5\xad\x97 e\xcc\x81"},
        {"the alternate screen over the main one", "main\x1b[?1049h\x1b[2;2Halternate"},
        {"the alternate screen the old way", "main\x1b[?47h\x1b[2;2Halternate"},
        {"modes", "\x1b[?1h\x1b[?2004h\x1b[?1002h\x1b[?1006h\x1b[?25l\x1b="},
        {"a region and the origin in it", "\x1b[2;4r\x1b[?6h\x1b[2;3Hx"},
        {"a cursor that will wrap", "01234567890123456789"},
        {"a cursor that will wrap behind a wide character", "012345678901234567\xe6\xbc\xa2"},
        {"a saved cursor",
         "\x1b[3;4H\x1b[33m\x1b"
         "7\x1b[1;1H\x1b[mx"},
        {"line drawing", "\x1b(0lqk\x1b)0\x0e"},
        {"inserting, without wrapping", "\x1b[4h\x1b[?7lx"},
        {"scroll-back", "1\r\n2\r\n\x1b[31m3\x1b[m\r\n4\r\n5\r\n6\r\n7"},
        {"a title", "\x1b]0;A title\a"},
    };
    for (const auto& row : rows) {
        ScreenModel written(20, 5);
        written.write(row.written);
        const ScreenPainting painting = written.painting();
        EXPECT_EQ(shownBy(written), painting.scrollBack + painting.screen) << row.name;
        ScreenModel other(20, 5);
        other.write(painting.scrollBack + painting.screen);
        EXPECT_EQ(other.picture().lines, written.picture().lines) << row.name;
        EXPECT_EQ(other.picture().brightLines, written.picture().brightLines) << row.name;
    }
}

TEST_F(ScreenPaintingTest, WhatIsPaintedOverATerminalInUseShowsTheSame) {
    model.write("shown\x1b[3;3H\x1b[7mhere");
    ScreenModel used(20, 5);
    used.write("\x1b[?1049h\x1b[44m\x1b[2;3r\x1b[?6h\x1b[?2004h\x1b[4h\x1b(0other\x1b[?7l");
    used.write(model.painting().screen);
    EXPECT_EQ(used.painting().screen, own());
}

TEST_F(ScreenPaintingTest, APieceThatIsCutByThePictureGoesOnBehindIt) {
    for (const std::string whole : {"x\x1b[3;4Hy", "\x1b]0;title\ay",
                                    "a\xe6\xbc\xa2"
                                    "b",
                                    "\x1bP1;2qdata\x1b\\y"}) {
        ScreenModel all(20, 5);
        all.write(whole);
        for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
            ScreenModel first(20, 5), second(20, 5);
            first.write(whole.substr(0, cut));
            second.write(first.painting().screen);
            second.write(whole.substr(cut));
            EXPECT_EQ(second.painting().screen, all.painting().screen) << whole << " at " << cut;
        }
    }
}

TEST_F(ScreenPaintingTest, ThePlainScrollBackHasNoStyles) {
    model.write("\x1b[1;31mone \x1b[m\r\n\x1b[42m two\r\n3\r\n4\r\n5\r\n6\r\n");
    EXPECT_THAT(model.scrollBack(), ElementsAre("one", " two"));
}

TEST_F(ScreenPaintingTest, OnlyTheNewestOfALongScrollBackIsPainted) {
    for (int line = 0; line < 5000; ++line) {
        model.write("\x1b[38;2;" + std::to_string(line % 250) + ";2;3m" + std::to_string(line) +
                    "\x1b[48;2;200;100;100m####\x1b[38;2;200;100;111m####\r\n");
    }
    const std::string painted = model.painting().scrollBack;
    EXPECT_LE(painted.size(), ScreenPainting::mostScrollBack + 5);
    EXPECT_THAT(painted, HasSubstr("4995"));
    EXPECT_THAT(painted, Not(HasSubstr("m17\x1b")));
    EXPECT_THAT(model.scrollBack(), SizeIs(4996));
}

TEST_F(ScreenPaintingTest, NoQuestionIsPainted) {
    model.write("\x1b[6n\x1b[c\x1b]11;?\a\x1b[?2026$p text");
    ScreenModel other(20, 5);
    other.write(model.painting().screen);
    EXPECT_EQ(other.takeAnswers(), "");
}

}  // namespace
}  // namespace quernlight::host
