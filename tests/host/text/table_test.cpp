#include "host/text/table.hpp"

#include <ostream>

#include <gtest/gtest.h>

#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

Table bugs() {
    Table table({"BUG", flexible("TITLE"), "WHY"});
    table.add({"b05d83f7", "It does not work", "waits"});
    table.add({"1", "日本 e\u0301 crash", ""});
    return table;
}

struct RoomRow {
    const char* name;
    std::optional<std::size_t> columns;
    const char* text;
};

void PrintTo(const RoomRow& row, std::ostream* out) {
    *out << row.name;
}

class TableRoomTest : public testing::TestWithParam<RoomRow> {};

TEST_P(TableRoomTest, DecidesWhatIsCut) {
    EXPECT_EQ(bugs().text({.columns = GetParam().columns}), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Table, TableRoomTest,
                         testing::Values(RoomRow{"no terminal", std::nullopt,
                                                 "BUG       TITLE             WHY\n"
                                                 "b05d83f7  It does not work  waits\n"
                                                 "1         日本 e\u0301 crash\n"},
                                         RoomRow{"just enough", 33,
                                                 "BUG       TITLE             WHY\n"
                                                 "b05d83f7  It does not work  waits\n"
                                                 "1         日本 e\u0301 crash\n"},
                                         RoomRow{"the flexible column gives way", 30,
                                                 "BUG       TITLE          WHY\n"
                                                 "b05d83f7  It does not …  waits\n"
                                                 "1         日本 e\u0301 crash\n"},
                                         RoomRow{"then all do, the widest first", 19,
                                                 "BUG    TITLE  WHY\n"
                                                 "b05d…  It d…  waits\n"
                                                 "1      日本…\n"},
                                         RoomRow{"the last one finds no room", 12,
                                                 "BUG    TITLE\n"
                                                 "b05d…  It d…\n"
                                                 "1      日本…\n"},
                                         RoomRow{"a single column", 2, "B…\nb…\n1\n"}));

TEST(TableTest, NoLineIsWiderThanTheTerminal) {
    for (std::size_t columns = 1; columns <= 40; ++columns) {
        const std::string text = bugs().text({.columns = columns});
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = text.find('\n', begin);
            EXPECT_LE(displayWidth(text.substr(begin, end - begin)), columns) << text;
            begin = end + 1;
        }
    }
}

TEST(TableTest, WhatIsInACellStaysOnItsLineAndActsOnNothing) {
    Table table({"TITLE", "APP"});
    table.add({"a\tb\n\x1b[2Jc\u202e", "Notes"});
    EXPECT_EQ(table.text({}), "TITLE     APP\na b [2Jc  Notes\n");
}

TEST(TableTest, ACellThatIsMissingIsEmpty) {
    Table table({"BUG", "APP"});
    EXPECT_TRUE(table.empty());
    table.add({"1"});
    EXPECT_FALSE(table.empty());
    EXPECT_EQ(table.text({}), "BUG  APP\n1\n");
}

TEST(TableTest, StylesAreSeenOnlyWhereColoursAreWanted) {
    Table table({"BUG", "WHY"});
    table.add({"1", {"asks", CellEmphasis::attention}});
    table.add({{"2", CellEmphasis::dim}, "runs"});
    EXPECT_EQ(table.text({.columns = 80}), "BUG  WHY\n1    asks\n2    runs\n");
    EXPECT_EQ(table.text({.columns = 80, .coloured = true}),
              "\x1b[2mBUG\x1b[0m  \x1b[2mWHY\x1b[0m\n"
              "1    \x1b[33masks\x1b[0m\n"
              "\x1b[2m2\x1b[0m    runs\n");
}

}  // namespace
}  // namespace quernlight::host
