#include <gtest/gtest.h>

#include "standin/codex/composer.hpp"

namespace quernlight::standin::codex {
namespace {

class StandinCodexComposerTest : public testing::Test {
  protected:
    std::optional<std::string> type(const std::string& bytes) { return composer.take({.bytes = bytes}); }
    std::optional<std::string> typeLate(const std::string& bytes) {
        return composer.take({.bytes = bytes, .late = true});
    }

    Composer composer;
};

TEST_F(StandinCodexComposerTest, ReturnsInsideAPasteBelongToItsTextAndALoneOneSubmits) {
    EXPECT_EQ(type("one\rtwo\r"), std::nullopt);
    EXPECT_EQ(type("\r"), "one\ntwo\n");
    EXPECT_EQ(composer.draft(), "");
}

TEST_F(StandinCodexComposerTest, APasteThatArrivesInPiecesIsOneText) {
    EXPECT_EQ(type("/goal\r1. Fi"), std::nullopt);
    EXPECT_EQ(type("rst\r"), std::nullopt);
    EXPECT_EQ(type("\r"), "/goal\n1. First\n");
}

TEST_F(StandinCodexComposerTest, APasteAndItsEnterInOneBurstWaitForAnotherEnter) {
    EXPECT_EQ(type("one\r\r"), std::nullopt);
}

TEST_F(StandinCodexComposerTest, ABurstThatWasReadLateHidesAPauseBeforeItsLastEnter) {
    EXPECT_EQ(typeLate("one\rtwo\r\r"), "one\ntwo\n");
}

TEST_F(StandinCodexComposerTest, ALateBurstThatEndsInOneReturnStillWaits) {
    EXPECT_EQ(typeLate("one\rtwo\r"), std::nullopt);
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

TEST_F(StandinCodexComposerTest, ABurstOfKeysIsShownAsAMark) {
    type("/goal one\rtwo");
    EXPECT_EQ(composer.shown(), "[Pasted Content 13 chars]");
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
