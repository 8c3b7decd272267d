#include "host/live/live_picture.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/live/picture_layout.hpp"
#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"
#include "tests/host/live/live_fixture.hpp"

namespace quernlight::host {
namespace {

using test::bug;
using test::busyDay;
using test::frame;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

std::vector<std::string> drawn(const LiveSnapshot& snapshot, int columns, int rows,
                               const LiveChoice& choice = {}, const PaneText& pane = {}) {
    return textLines(livePicture(snapshot, choice, pane, frame(columns, rows)));
}

LiveSnapshot withBugs(std::vector<LiveBug> bugs) {
    LiveSnapshot snapshot{.isKnown = true, .owner = test::owner(), .mappings = 1};
    snapshot.bugs = std::move(bugs);
    return snapshot;
}

std::vector<LiveBug> many(std::size_t count, SessionStage stage) {
    std::vector<LiveBug> bugs;
    for (std::size_t number = 10; number < count + 10; ++number) {
        bugs.push_back(bug("aaaaaa" + std::to_string(number), stage));
    }
    return bugs;
}

TEST(LivePictureTest, ADayIsOnOneScreen) {
    const PaneText pane{.bugID = "b05d83f7",
                        .pane = LivePane::events,
                        .lines = {"• Asked for more information", "Q: Which steps lead to it?"}};
    EXPECT_THAT(
        drawn(busyDay(), 72, 16, {}, pane),
        ElementsAre("quernlight  bugs.example ok  2/2 agents  mem 6.0G  20 today  14:02",  //
                    "NEEDS YOU (2)",                                                       //
                    ">? b05d83f7 It does not work        asks: Which steps show it?        4m",
                    " x 36f675cc Crash on paste          exit 139 (SIGSEGV)                9m", "RUNNING (2)",
                    " ⠹ 7c41e0ab Saving an empty note c… working  Ran git push          12:03",
                    " ⠹ 2e9b6d14 Search misses accented… working  make test              3:40",
                    "QUEUED (2)                          REVIEW (1)",
                    " 1 907a70c3 Paste loses formatting   ✓ 7f150524 Undo twice quits",
                    " 2 51d0c2aa Dark mode forgets the …",
                    "─ b05d83f7 ── terminal | [events] | goal | diff ────────────────────────",
                    " • Asked for more information", " Q: Which steps lead to it?", "", "",
                    "↑↓ select ⏎ attach a answer c cancel r retry J/K move o web / filter"));
}

TEST(LivePictureTest, WhatNeedsAPersonIsAboveTheFoldAndWhatDoesNotFitIsCounted) {
    std::vector<LiveBug> bugs = many(30, SessionStage::queued);
    for (const LiveBug& failed : many(9, SessionStage::failed)) {
        bugs.push_back(failed);
        bugs.back().bugID[0] = 'f';
    }
    const auto lines = drawn(withBugs(bugs), 80, 10);
    EXPECT_EQ(lines[1], "NEEDS YOU (9)  and 2 more");
    EXPECT_THAT(lines, Contains(HasSubstr("x f")).Times(7));
    EXPECT_THAT(drawn(withBugs(bugs), 80, 16), Contains(StartsWith("QUEUED (30)  and ")));
}

TEST(LivePictureTest, TheSelectedBugIsShownWhereverItStands) {
    const auto lines = drawn(withBugs(many(60, SessionStage::queued)), 80, 14, {.bugID = "aaaaaa59"});
    EXPECT_THAT(lines, Contains(StartsWith(">50 aaaaaa59")));
}

TEST(LivePictureTest, SaysWhatItWaitsForWithoutBugs) {
    struct Row {
        const char* name;
        LiveSnapshot snapshot;
        const char* says;
    };
    LiveSnapshot noMapping = withBugs({}), noOwner = withBugs({}), paused = withBugs({});
    noMapping.mappings = 0;
    noOwner.owner.reset();
    paused.alerts = {"Starts pause until 14:05: the remote cannot be reached."};
    for (const Row& row :
         {Row{"idle", withBugs({}), "The backend is asked for bugs at 14:02:50."},
          Row{"no mapping", noMapping, "name one with: quernlight-dispatch map set"},
          Row{"no owner", noOwner, "start it with: quernlight-dispatch run"},
          Row{"paused", paused, " ! Starts pause until 14:05"},
          Row{"nothing known", LiveSnapshot{}, "Looking"},
          Row{"no home", LiveSnapshot{.trouble = "There is no home."}, "There is no home."}}) {
        EXPECT_THAT(drawn(row.snapshot, 90, 10), Contains(HasSubstr(row.says))) << row.name;
    }
}

TEST(LivePictureTest, EverySizeIsFilledExactly) {
    LiveSnapshot day = busyDay();
    day.bugs.push_back(
        bug("99999999", SessionStage::failed, "表示が\t崩れる\x1b[2J 🙂 e\u0301", "改行\nする"));
    LiveChoice help{.showsHelp = true}, message{.message = "Done."}, none;
    for (const auto& [columns, rows] :
         {std::pair(20, 5), {21, 6}, {59, 24}, {60, 24}, {80, 24}, {300, 90}, {1, 1}, {7, 3}}) {
        for (const LiveChoice& choice : {none, help, message}) {
            const LivePicture picture = livePicture(day, choice, {}, frame(columns, rows));
            ASSERT_THAT(picture.rows, SizeIs(rows));
            EXPECT_THAT(picture.rows, Each(SizeIs(columns)));
        }
    }
}

TEST(LivePictureTest, TheSmallestSizeTellsWhoNeedsAPerson) {
    const auto lines = drawn(busyDay(), 20, 5);
    EXPECT_THAT(lines[1], HasSubstr("NEEDS YOU (2)"));
    EXPECT_THAT(lines[2], StartsWith(">? b05d asks"));
}

TEST(LivePictureTest, NothingFromOutsideActsOnTheTerminal) {
    const auto lines = drawn(withBugs({bug("11111111", SessionStage::failed, "a\x1b[2Jb\tc",
                                           "d\r\n\x9b"
                                           "e")}),
                             80, 8);
    for (const std::string& line : lines) {
        for (const char32_t character : unicodeScalars(line)) {
            EXPECT_FALSE(isActingCharacter(character)) << line;
        }
    }
    EXPECT_THAT(lines[2], HasSubstr("a [2Jb c"));
}

TEST(LivePictureTest, WithoutColoursThereIsNoStyle) {
    const LivePicture picture = livePicture(busyDay(), {}, {}, frame(80, 24, false));
    const LivePicture coloured = livePicture(busyDay(), {}, {}, frame(80, 24, true));
    EXPECT_EQ(redraw({}, picture).find("m", 20), redraw({}, withoutStyles(coloured)).find("m", 20));
    EXPECT_EQ(redraw(picture, withoutStyles(coloured)), "");
    EXPECT_NE(redraw(picture, coloured), "");
}

TEST(LivePictureTest, WhatIsTypedIsOnTheLastLineWithTheCursor) {
    LiveChoice choice;
    choice.answering = TypedLine{.text = U"Press it", .cursor = 5};
    choice.answered = "b05d83f7";
    const LivePicture picture = livePicture(busyDay(), choice, {}, frame(80, 24));
    EXPECT_EQ(textLines(picture).back(), "Answer to b05d83f7: Press it");
    EXPECT_EQ(picture.cursor, (PicturePlace{.row = 23, .column = 25}));
}

TEST(LivePictureTest, OnlyWhatHoldsTheFilterIsListed) {
    const auto lines = drawn(busyDay(), 80, 24, {.filter = "PASTE"});
    EXPECT_THAT(lines, AllOf(Contains(HasSubstr("36f675cc")), Contains(HasSubstr("907a70c3")),
                             Not(Contains(HasSubstr("7c41e0ab"))), Contains(StartsWith("[PASTE]"))));
    EXPECT_THAT(drawn(busyDay(), 80, 24, {.filter = "nowhere"}),
                Contains(HasSubstr("No bug holds \"nowhere\"")));
}

TEST(LivePictureTest, ThePaneIsReadFromWhereItMatters) {
    PaneText pane{.bugID = "b05d83f7", .pane = LivePane::events};
    for (int number = 0; number < 99; ++number) {
        pane.lines.push_back("line " + std::to_string(number));
    }
    EXPECT_THAT(drawn(busyDay(), 80, 24, {}, pane), Contains(" line 98"));
    EXPECT_THAT(drawn(busyDay(), 80, 24, {.scrolled = 90}, pane), Contains(" line 0"));
    pane.pane = LivePane::diff;
    EXPECT_THAT(drawn(busyDay(), 80, 24, {.pane = LivePane::diff}, pane), Contains(" line 0"));
}

TEST(LivePictureTest, WhatIsAskedAndSaidIsReadableInWhole) {
    const std::string sentence =
        "Which of the two dialogs do you mean, the one that is opened by the menu or the one that comes up by "
        "itself when the document was changed by another program? (last word)";
    const PaneText pane{
        .bugID = "b05d83f7", .pane = LivePane::events, .lines = {"asked", "Asks: " + sentence}};
    LiveSnapshot alert = busyDay();
    alert.alerts = {sentence, "The disk is full."};
    const auto whole = [](const std::vector<std::string>& lines) {
        std::string text;
        for (const std::string& line : lines) {
            text += line.substr(std::min(line.size(), line.find_first_not_of(' '))) + " ";
        }
        return text;
    };
    for (const auto& [columns, rows] : {std::pair(80, 24), {40, 20}, {200, 60}}) {
        SCOPED_TRACE(columns);
        EXPECT_THAT(whole(drawn(busyDay(), columns, rows, {}, pane)), HasSubstr("(last word)"));
        EXPECT_THAT(whole(drawn(busyDay(), columns, rows, {.message = sentence})), HasSubstr("(last word)"));
        EXPECT_THAT(whole(drawn(busyDay(), columns, rows, {.question = LiveQuestion{sentence, {}}})),
                    AllOf(HasSubstr("(last word)"), HasSubstr("[y/N]")));
        EXPECT_THAT(whole(drawn(alert, columns, rows)),
                    AllOf(HasSubstr("(last word)"), HasSubstr("! The disk is full.")));
    }
}

TEST(LivePictureTest, TheLastSentencesAreToldWhereThereIsNoRoomForAll) {
    const LiveChoice choice{.message = "First " + std::string(90, 'a') + ".\nThe last one."};
    const auto lines = drawn(busyDay(), 40, 9, choice);
    EXPECT_THAT(lines, AllOf(Contains(" The last one."), Not(Contains(StartsWith(" First")))));
}

TEST(LivePictureTest, AnAgentsScreenIsCutUnlessItAsksThere) {
    LiveBug running = bug("11111111", SessionStage::working);
    const PaneText pane{
        .bugID = "11111111", .pane = LivePane::terminal, .lines = {std::string(99, 'x') + " the end"}};
    EXPECT_THAT(drawn(withBugs({running}), 60, 12, {}, pane), Not(Contains(HasSubstr("the end"))));
    running.stage = SessionStage::needsPerson;
    EXPECT_THAT(drawn(withBugs({running}), 60, 12, {}, pane), Contains(HasSubstr("the end")));
}

TEST(LivePictureTest, APaneIsScrolledThroughRowByRowAndNoFurther) {
    PaneText pane{.bugID = "b05d83f7", .pane = LivePane::goal, .lines = {std::string(200, 'g'), "the end"}};
    LiveChoice choice{.pane = LivePane::goal, .scrolled = 99};
    const LivePicture picture = livePicture(busyDay(), choice, pane, frame(41, 18));
    ASSERT_EQ(picture.paneLines, 4U);
    EXPECT_EQ(picture.scrolled, 2U) << "of six rows";
    EXPECT_THAT(textLines(picture), Contains(" the end"));
    choice.scrolled = 1;
    EXPECT_THAT(textLines(livePicture(busyDay(), choice, pane, frame(41, 18))), Not(Contains(" the end")));
}

TEST(LivePictureTest, TheKeysAreReadableOnASmallTerminal) {
    std::string read;
    for (const std::size_t scrolled : {0U, 9U, 18U}) {
        for (const std::string& line : drawn(busyDay(), 40, 12, {.scrolled = scrolled, .showsHelp = true})) {
            read += line.substr(std::min(line.size(), line.find_first_not_of(' '))) + " ";
        }
    }
    EXPECT_THAT(read,
                AllOf(HasSubstr("Shift-Tab go from one list to the next"), HasSubstr("puts this aside")));
}

TEST(LivePictureTest, ThePaneMayHaveAllTheRoomBelowTheCountOfWhatNeedsAPerson) {
    PaneText pane{.bugID = "b05d83f7", .pane = LivePane::events};
    for (int number = 0; number < 99; ++number) {
        pane.lines.push_back("line " + std::to_string(number));
    }
    const auto lines = drawn(busyDay(), 80, 24, {.isPaneWhole = true}, pane);
    EXPECT_EQ(lines[1], "NEEDS YOU (2)");
    EXPECT_EQ(lines[3], " line 79");
    EXPECT_EQ(lines[22], " line 98");
}

TEST(LivePictureTest, WhatNeedsAPersonIsCountedWhereTheFilterHidesIt) {
    EXPECT_EQ(drawn(busyDay(), 80, 24, {.filter = "paste"})[1], "NEEDS YOU (1)  1 hidden by the filter");
    EXPECT_EQ(drawn(busyDay(), 80, 24, {.filter = "undo"})[1], "NEEDS YOU (0)  2 hidden by the filter");
    EXPECT_EQ(drawn(busyDay(), 80, 24, {.filter = "nowhere"})[1], "NEEDS YOU (0)  2 hidden by the filter");
    EXPECT_EQ(drawn(busyDay(), 20, 5, {.filter = "undo"})[1], "NEEDS YOU (0)  2 hid");
}

TEST(LivePictureTest, EachAlertHasARowBeforeOneGoesOnInASecond) {
    LiveSnapshot day = busyDay();
    day.alerts = {std::string(100, 'a'), std::string(100, 'b')};
    const auto lines = drawn(day, 60, 8);
    EXPECT_EQ(lines[1], "NEEDS YOU (4)");
    EXPECT_THAT(lines, AllOf(Contains(StartsWith(" ! aaa")), Contains(StartsWith(" ! bbb")),
                             Contains(HasSubstr("? b05d83f7")), Contains(HasSubstr("x 36f675cc"))));
}

TEST(LivePictureTest, AnAgentThatHasExitedDoesNotTurn) {
    LiveBug exited = bug("11111111", SessionStage::agentExited);
    exited.exitCode = 139;
    EXPECT_THAT(drawn(withBugs({exited}), 80, 8)[2], HasSubstr(">· 11111111"));
    EXPECT_THAT(drawn(withBugs({exited}), 80, 8)[2], HasSubstr("ended by SIGSEGV"));
}

TEST(LivePictureTest, WhatStaysHasNeitherPaneNorKeys) {
    const auto lines = lastPicture(busyDay(), frame(80, 30));
    EXPECT_THAT(lines, SizeIs(10));
    EXPECT_THAT(lines[2], StartsWith(" ? b05d83f7"));
}

TEST(LivePictureTest, IdsTakeTheRoomThatTellsThemApart) {
    const auto lines = drawn(
        withBugs({bug("aaaabb11", SessionStage::queued), bug("aaaabc11", SessionStage::queued)}), 40, 10);
    EXPECT_THAT(lines, Contains(StartsWith(" 2 aaaabc Title")));
}

TEST(PictureLayoutTest, RoomIsGivenByNeed) {
    struct Row {
        const char* name;
        std::size_t room;
        WantedRows wanted;
        PictureLayout layout;
    };
    const Row rows[] = {
        {"all fits, the rest is the pane's",
         20,
         {.needsYou = 3, .running = 3, .queued = 4, .hasPane = true},
         {.needsYou = 3, .running = 3, .queued = 4, .pane = 10}},
        {"what needs a person comes before all else",
         12,
         {.needsYou = 10, .running = 3, .queued = 9, .hasPane = true},
         {.needsYou = 10, .running = 2}},
        {"a long queue leaves the pane a third",
         21,
         {.needsYou = 2, .queued = 90, .hasPane = true},
         {.needsYou = 2, .queued = 12, .pane = 7}},
        {"no room but for what needs a person",
         2,
         {.needsYou = 5, .running = 3, .queued = 2, .hasPane = true},
         {.needsYou = 2}},
        {"below one another",
         12,
         {.running = 3, .queued = 5, .review = 5},
         {.running = 3, .queued = 5, .review = 4}},
        {"nothing", 5, {}, {}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(layoutOf(row.room, row.wanted), row.layout) << row.name;
    }
}

}  // namespace
}  // namespace quernlight::host
