#include "host/live/redraw.hpp"

#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/live/row_writer.hpp"
#include "host/screen/screen_model.hpp"
#include "tests/host/live/live_fixture.hpp"

namespace quernlight::host {
namespace {

constexpr int columns = 24;

LivePicture pictureOf(const std::vector<std::string>& lines, CellStyle style = {}) {
    LivePicture picture;
    for (const std::string& line : lines) {
        RowWriter row(columns);
        picture.rows.push_back(row.put(line, style).take());
    }
    return picture;
}

TEST(RedrawTest, OnlyWhatHasChangedIsWritten) {
    struct Row {
        const char* name;
        std::vector<std::string> shown, wanted;
        const char* bytes;
    };
    const Row rows[] = {
        {"nothing", {"one", "two"}, {"one", "two"}, ""},
        {"a character", {"one", "two"}, {"one", "twx"}, "\x1b[2;3Hx"},
        {"two that are far apart", {"a234567890b"}, {"x234567890y"}, "\x1b[1;1Hx\x1b[1;11Hy"},
        {"two that are near", {"a234b"}, {"x234y"}, "\x1b[1;1Hx234y"},
        {"what is gone", {"one two"}, {"one"}, "\x1b[1;5H\x1b[K"},
        {"a wide character's half", {"表b"}, {"a b"}, "\x1b[1;1Ha "},
        {"to a wide one", {"a b"}, {"表b"}, "\x1b[1;1H表"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(redraw(pictureOf(row.shown), pictureOf(row.wanted)), row.bytes) << row.name;
    }
}

TEST(RedrawTest, AStyleEndsWhereItsTextEnds) {
    EXPECT_EQ(redraw(pictureOf({""}), pictureOf({"ab"}, styles::red)), "\x1b[1;1H\x1b[0;31mab\x1b[m");
}

TEST(RedrawTest, TheCursorIsShownWhereItBelongs) {
    LivePicture without = pictureOf({"a"}), with = pictureOf({"a"}), moved = pictureOf({"a"});
    with.cursor = PicturePlace{.row = 0, .column = 1};
    moved.cursor = PicturePlace{.row = 0, .column = 2};
    EXPECT_EQ(redraw(without, with), "\x1b[1;2H\x1b[?25h");
    EXPECT_EQ(redraw(with, moved), "\x1b[1;3H");
    EXPECT_EQ(redraw(with, without), "\x1b[?25l");
    EXPECT_EQ(redraw(with, with), "");
}

TEST(RedrawTest, AnotherSizeIsDrawnWhole) {
    EXPECT_THAT(redraw({}, pictureOf({"a"})), testing::StartsWith("\x1b[?25l\x1b[m\x1b[2J"));
    EXPECT_EQ(redraw(pictureOf({"a"}), pictureOf({"a", "b"})), "\x1b[?25l\x1b[m\x1b[2J\x1b[1;1Ha\x1b[2;1Hb");
}

/// What stands on a terminal that shows a picture.
std::string screenAfter(const std::vector<std::string>& writes, const LivePicture& like) {
    ScreenModel model(columns, static_cast<int>(like.rows.size()), 0);
    for (const std::string& bytes : writes) {
        model.write(bytes);
    }
    return model.painting().screen;
}

/// Random pieces that hold all that is difficult.
std::string randomLine(std::mt19937& random) {
    const std::vector<std::string> pieces{"a",       "bc",   " ", "   ", "表", "表示",
                                          "e\u0301", "🙂", "…", "─",   "\t", "0123456789"};
    std::string line;
    for (auto count = random() % 12; count > 0; --count) {
        line += pieces[random() % pieces.size()];
    }
    return line;
}

LivePicture randomPicture(std::mt19937& random) {
    const std::vector<CellStyle> all{styles::normal, styles::red, styles::chosen, styles::dim};
    LivePicture picture;
    for (int row = 0; row < 5; ++row) {
        RowWriter writer(columns);
        for (int part = 0; part < 3; ++part) {
            writer.put(randomLine(random), all[random() % all.size()]);
        }
        picture.rows.push_back(writer.take());
    }
    if (random() % 2 == 0) {
        picture.cursor = PicturePlace{.row = random() % 5, .column = random() % columns};
    }
    return picture;
}

TEST(RedrawTest, TheBytesMakeOnePictureOfAnyOther) {
    std::mt19937 random(14);
    LivePicture shown = randomPicture(random);
    std::vector<std::string> writes{redraw({}, shown)};
    for (int round = 0; round < 300; ++round) {
        const LivePicture wanted = randomPicture(random);
        writes.push_back(redraw(shown, wanted));
        ScreenModel model(columns, 5, 0);
        for (const std::string& bytes : {redraw({}, shown), writes.back()}) {
            model.write(bytes);
        }
        auto lines = model.picture().lines;
        lines.resize(5);
        ASSERT_EQ(lines, textLines(wanted)) << round;
        LivePicture placed = wanted;
        ASSERT_EQ(model.picture().cursorShown, wanted.cursor.has_value()) << round;
        if (wanted.cursor) {
            ASSERT_EQ(model.picture().cursorColumn, static_cast<int>(wanted.cursor->column)) << round;
            ASSERT_EQ(model.painting().screen, screenAfter({redraw({}, wanted)}, wanted)) << round;
        }
        shown = placed;
    }
}

}  // namespace
}  // namespace quernlight::host
