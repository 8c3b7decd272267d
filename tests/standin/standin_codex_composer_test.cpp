#include <gtest/gtest.h>

#include "standin/codex/composer.hpp"

namespace quernlight::standin::codex {
namespace {

class StandinCodexComposerTest : public testing::Test {
  protected:
    std::optional<std::string> type(const std::string& bytes) { return composer.take(bytes); }

    Composer composer;
};

TEST_F(StandinCodexComposerTest, ABurstIsSubmittedInPartAtItsFirstReturn) {
    EXPECT_EQ(type("/goal\r1. First\r2. Second\r"), "/goal");
    EXPECT_EQ(composer.draft(), "1. First\n2. Second\n");
    EXPECT_EQ(type("\r"), "1. First\n2. Second\n");
    EXPECT_EQ(composer.draft(), "");
}

TEST_F(StandinCodexComposerTest, ABurstAndItsEnterAreOneTextThatWaits) {
    EXPECT_EQ(type("one"), std::nullopt);
    EXPECT_EQ(type("two\r"), std::nullopt);
    EXPECT_EQ(type("\r"), "onetwo\n");
}

TEST_F(StandinCodexComposerTest, ExitWithItsEnterInOneBurstDoesNotSubmit) {
    EXPECT_EQ(type("/exit\r"), std::nullopt);
    EXPECT_EQ(type("\r"), "/exit\n");
}

TEST_F(StandinCodexComposerTest, BracketedPastesAreShownAsTheyAreAndNeverSubmit) {
    EXPECT_EQ(type("/goal "), std::nullopt);
    EXPECT_EQ(type("\x1b[200~one\r\rtwo\r\x1b[201~\x1b[200~th"), std::nullopt);
    EXPECT_EQ(type("ree\r\x1b[201~"), std::nullopt);
    EXPECT_EQ(composer.shown(), "/goal one\n\ntwo\nthree\n");
    EXPECT_EQ(type("\r"), "/goal one\n\ntwo\nthree\n");
    EXPECT_EQ(composer.shown(), "");
}

TEST_F(StandinCodexComposerTest, EnterRightBehindAPasteSubmits) {
    EXPECT_EQ(type("\x1b[200~one\rtwo\x1b[201~\r"), "one\ntwo");
}

TEST_F(StandinCodexComposerTest, ALongBurstOrPasteIsShownAsAMark) {
    type(std::string(61, 'a'));
    type("\x1b[200~" + std::string(600, 'b'));
    type(std::string(401, 'b') + "\x1b[201~");
    EXPECT_EQ(composer.shown(), "[Pasted Content 61 chars][Pasted Content 1001 chars]");
}

TEST_F(StandinCodexComposerTest, ExitTypedKeyByKeySubmitsAtItsEnter) {
    for (const std::string key : {"/", "e", "x", "i", "t"}) {
        EXPECT_EQ(type(key), std::nullopt);
    }
    EXPECT_EQ(type("\r"), "/exit");
}

TEST_F(StandinCodexComposerTest, EnterOnAnEmptyLineSubmitsNothing) {
    EXPECT_EQ(type("\r"), std::nullopt);
    EXPECT_EQ(type("\r"), std::nullopt);
}

}  // namespace
}  // namespace quernlight::standin::codex
