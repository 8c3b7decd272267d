#include "host/live/live_choice.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/live/live_fixture.hpp"

namespace quernlight::host {
namespace {

using Kind = LiveKey::Kind;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(LiveKeysTest, BytesAreKeys) {
    struct Row {
        const char* name;
        std::vector<std::string> reads;
        std::vector<LiveKey> keys;
    };
    const LiveKey a{.kind = Kind::text, .text = "a"}, umlaut{.kind = Kind::text, .text = "ä"};
    const Row rows[] = {
        {"letters", {"aä"}, {a, umlaut}},
        {"a character in two reads", {"\xc3", "\xa4"}, {umlaut}},
        {"arrows of both modes", {"\x1b[A\x1bOB"}, {{.kind = Kind::up}, {.kind = Kind::down}}},
        {"a sequence in two reads", {"\x1b[", "5~"}, {{.kind = Kind::pageUp}}},
        {"a modified arrow", {"\x1b[1;2A"}, {{.kind = Kind::up}}},
        {"escape alone", {"\x1b"}, {{.kind = Kind::escape}}},
        {"an unknown sequence", {"\x1b[99~a"}, {a}},
        {"what comes with Alt is no key", {"\x1bq\x1b\r\x1b\xc3\xa4", "a"}, {a}},
        {"Alt with a character in two reads", {"\x1b\xc3", "\xa4", "a"}, {a}},
        {"escape twice", {"\x1b\x1b"}, {{.kind = Kind::escape}, {.kind = Kind::escape}}},
        {"escape, and later a letter", {"\x1b", "a"}, {{.kind = Kind::escape}, a}},
        {"controls", {"\r\t\x7f"}, {{.kind = Kind::enter}, {.kind = Kind::tab}, {.kind = Kind::backspace}}},
        {"a paste is one text",
         {"\x1b[200~q\r", "c\x1b[201~a"},
         {{.kind = Kind::text, .text = "q c", .isPasted = true}, a}},
        {"what is no text",
         {"\x01\xff"
          "a"},
         {{.kind = Kind::home}, a}},
    };
    for (const Row& row : rows) {
        LiveKeys keys;
        std::vector<LiveKey> read;
        for (const std::string& bytes : row.reads) {
            const auto some = keys.read(bytes);
            read.insert(read.end(), some.begin(), some.end());
        }
        EXPECT_EQ(read, row.keys) << row.name;
    }
}

/// A person at the keys of a view that shows a busy day.
class LiveChoiceTest : public testing::Test {
  protected:
    /// The last key's wish.
    std::optional<LiveWish> press(const std::string& bytes) {
        std::optional<LiveWish> wish;
        for (const LiveKey& key : LiveKeys().read(bytes)) {
            wish = takeKey(key, day, choice);
        }
        return wish;
    }
    std::string selected() const {
        const BugsBySection listed = listedBugs(day, choice.filter);
        const LiveBug* bug = selectedBug(inOrder(listed), choice);
        return bug ? bug->bugID : "";
    }

    LiveSnapshot day = test::busyDay();
    LiveChoice choice;
};

TEST_F(LiveChoiceTest, ArrowsAndTabSelect) {
    EXPECT_EQ(selected(), "b05d83f7");
    press("j\x1b[B");
    EXPECT_EQ(selected(), "7c41e0ab");
    press("\x1b[A");
    EXPECT_EQ(selected(), "36f675cc");
    press("\t\t");
    EXPECT_EQ(selected(), "907a70c3");
    press("\t\t");
    EXPECT_EQ(selected(), "b05d83f7");
    press("\x1b[Z");
    EXPECT_EQ(selected(), "7f150524");
    press("kkkkkkkkkkkk");
    EXPECT_EQ(selected(), "b05d83f7");
}

TEST_F(LiveChoiceTest, ABugThatHasGoneLeavesTheFirstSelectedWhichTakesNoKeyThatWasMeantForIt) {
    press("j");
    const std::string gone = choice.bugID;
    day.bugs.erase(day.bugs.begin() + 1);
    EXPECT_EQ(selected(), "b05d83f7");
    EXPECT_EQ(press("c"), std::nullopt);
    EXPECT_EQ(choice.message, "Bug " + gone + " has left the list; select another one.");
    EXPECT_FALSE(choice.question);
    press("c");
    EXPECT_TRUE(choice.question);
}

TEST_F(LiveChoiceTest, KeysThatWereMeantForAnAgentWhoseSessionHasEndedDoNothing) {
    choice = {.bugID = "36f675cc", .awaitsEnter = true, .message = "It has ended. Press Enter."};
    EXPECT_EQ(press("rcy"), std::nullopt);
    EXPECT_EQ(choice.message, "It has ended. Press Enter.");
    press("\r");
    EXPECT_EQ(choice.message, "");
    EXPECT_EQ(press("r")->action, LiveAction::retry);
}

TEST_F(LiveChoiceTest, LettersAskForOperations) {
    struct Row {
        const char* select;
        const char* keys;
        LiveWish wish;
    };
    const Row rows[] = {
        {"7c41e0ab", "\r", {.action = LiveAction::attach, .bugID = "7c41e0ab"}},
        {"36f675cc", "r", {.action = LiveAction::retry, .bugID = "36f675cc"}},
        {"907a70c3", "cy", {.action = LiveAction::cancel, .bugID = "907a70c3", .isConfirmed = true}},
        {"51d0c2aa", "n", {.action = LiveAction::next, .bugID = "51d0c2aa"}},
        {"51d0c2aa", "K", {.action = LiveAction::moveUp, .bugID = "51d0c2aa", .text = "907a70c3"}},
        {"907a70c3", "J", {.action = LiveAction::moveDown, .bugID = "907a70c3", .text = "51d0c2aa"}},
        {"7f150524", "o", {.action = LiveAction::open, .bugID = "7f150524"}},
        {"b05d83f7", "u", {.action = LiveAction::unpause}},
        {"b05d83f7", "q", {.action = LiveAction::leave}},
        {"7c41e0ab", "cy", {.action = LiveAction::cancel, .bugID = "7c41e0ab", .isConfirmed = true}},
        {"7f150524", "ry", {.action = LiveAction::retry, .bugID = "7f150524", .isConfirmed = true}},
        {"b05d83f7",
         "aPrest\x7fs it.\r",
         {.action = LiveAction::answer, .bugID = "b05d83f7", .text = "Press it."}},
    };
    for (const Row& row : rows) {
        choice = {.bugID = row.select};
        EXPECT_EQ(press(row.keys), row.wish) << row.select << " " << row.keys;
    }
}

TEST_F(LiveChoiceTest, CancellingIsAskedFirstAndOnlyYIsAYes) {
    choice.bugID = "7c41e0ab";
    EXPECT_EQ(press("c"), std::nullopt);
    EXPECT_THAT(choice.question.value().sentence, HasSubstr("its agent is ended"));
    EXPECT_EQ(press("\r"), std::nullopt);
    EXPECT_EQ(choice.message, "Nothing was done.");
    EXPECT_EQ(press("y"), std::nullopt);
}

TEST_F(LiveChoiceTest, APastedTextPressesNoKeys) {
    choice.bugID = "907a70c3";
    EXPECT_EQ(press("\x1b[200~c\x1b[201~"), std::nullopt);
    EXPECT_EQ(press("\x1b[200~q\x1b[201~"), std::nullopt);
}

TEST_F(LiveChoiceTest, AnAnswerIsEditedAndMayBeDropped) {
    press("aone\x1b[D\x1b[D\x1b[3~X");
    EXPECT_EQ(choice.answering.value().utf8(), "oXe");
    EXPECT_EQ(press("\x15\r"), std::nullopt) << "nothing is no answer";
    press("x\x1b");
    EXPECT_FALSE(choice.answering);
    EXPECT_EQ(choice.message, "Nothing was sent.");
}

TEST_F(LiveChoiceTest, OnlyAQuestionIsAnswered) {
    choice.bugID = "36f675cc";
    press("a");
    EXPECT_FALSE(choice.answering);
    EXPECT_EQ(choice.message, "Bug 36f675cc waits for no answer.");
    EXPECT_TRUE(choice.isTrouble);
}

TEST_F(LiveChoiceTest, AFilterIsAppliedAsItIsTyped) {
    press("/paste");
    EXPECT_EQ(selected(), "36f675cc");
    press("\rj");
    EXPECT_EQ(selected(), "907a70c3");
    press("\x1b");
    EXPECT_EQ(choice.filter, "");
    EXPECT_EQ(selected(), "907a70c3");
}

TEST_F(LiveChoiceTest, PanesAreChosenByLetterAndArrow) {
    const LiveBug running = day.bugs[2], failed = day.bugs[1];
    EXPECT_EQ(shownPane(running, choice), LivePane::terminal);
    EXPECT_EQ(shownPane(failed, choice), LivePane::events);
    press("d");
    EXPECT_EQ(choice.pane, LivePane::diff);
    press("\x1b[C");
    EXPECT_EQ(choice.pane, LivePane::terminal);
    press("\x1b[D\x1b[D");
    EXPECT_EQ(choice.pane, LivePane::goal);
}

TEST_F(LiveChoiceTest, AMoveAtTheEndOfTheQueueIsNone) {
    choice.bugID = "907a70c3";
    EXPECT_EQ(press("K"), std::nullopt);
    choice.bugID = "51d0c2aa";
    EXPECT_EQ(press("J"), std::nullopt);
    choice.bugID = "7f150524";
    press("J");
    EXPECT_EQ(choice.message, "Bug 7f150524 is not waiting in the queue.");
}

TEST_F(LiveChoiceTest, ABugIsMovedPastNoneThatTheFilterHides) {
    choice = {.bugID = "907a70c3", .filter = "paste"};
    EXPECT_EQ(press("J"), std::nullopt);
    EXPECT_EQ(choice.message,
              "Bug 907a70c3 would move past bug 51d0c2aa, which the filter hides; Esc shows all.");
    EXPECT_TRUE(choice.isTrouble);
}

TEST_F(LiveChoiceTest, APageIsWhatThePaneHadRoomForButALine) {
    choice.paneLines = 4;
    press("\x1b[5~\x1b[5~");
    EXPECT_EQ(choice.scrolled, 6U);
    press("\x1b[6~");
    EXPECT_EQ(choice.scrolled, 3U);
    choice = {.pane = LivePane::goal, .paneLines = 1};
    press("\x1b[6~\x1b[6~\x1b[5~");
    EXPECT_EQ(choice.scrolled, 1U);
}

TEST_F(LiveChoiceTest, TheKeysAreReadOnPageByPageAndEndWithAnyOtherKey) {
    choice.paneLines = 6;
    press("?\x1b[6~");
    EXPECT_TRUE(choice.showsHelp);
    EXPECT_EQ(choice.scrolled, 5U);
    EXPECT_EQ(press("c"), std::nullopt);
    EXPECT_FALSE(choice.showsHelp);
    EXPECT_EQ(choice.scrolled, 0U);
}

TEST_F(LiveChoiceTest, ThePaneTakesAllTheRoomUntilTheSameKeyOrEscape) {
    choice.filter = "paste";
    press("v");
    EXPECT_TRUE(choice.isPaneWhole);
    press("v");
    EXPECT_FALSE(choice.isPaneWhole);
    press("v\x1b");
    EXPECT_FALSE(choice.isPaneWhole);
    EXPECT_EQ(choice.filter, "paste");
    press("\x1b");
    EXPECT_EQ(choice.filter, "");
}

TEST_F(LiveChoiceTest, WhatIsToldStaysBesideWhatIsToldNextUntilAKey) {
    choice.message = beingDone;
    tell(choice, "One is cancelled.", false);
    EXPECT_EQ(choice.message, "One is cancelled.");
    tell(choice, "Two was refused.", true);
    tell(choice, "Three is open.", false);
    EXPECT_EQ(choice.message, "One is cancelled.\nTwo was refused.\nThree is open.");
    EXPECT_TRUE(choice.isTrouble);
    tell(choice, "Four is next.", false);
    EXPECT_EQ(choice.message, "Two was refused.\nThree is open.\nFour is next.");
    press("j");
    EXPECT_EQ(choice.message, "");
    tell(choice, "Five is next.", false);
    EXPECT_FALSE(choice.isTrouble);
}

}  // namespace
}  // namespace quernlight::host
