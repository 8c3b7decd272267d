#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::HasSubstr;

class ConfigCommandTest : public test::DispatchFixture {
  protected:
    test::Outcome config(std::vector<std::string> words) {
        words.insert(words.begin(), "config");
        words.insert(words.end(), {"--home", home()});
        return dispatch(words);
    }
};

TEST_F(ConfigCommandTest, ASettingIsSetShownListedAndPutBack) {
    EXPECT_EQ(config({"set", "sessions.memory_floor_mib", "512"}).output,
              "sessions.memory_floor_mib is now 512 MiB; that takes effect at once.\n");
    EXPECT_EQ(config({"get", "sessions.memory_floor_mib"}).output, "512\n");
    const std::string listed = config({"list"}).output;
    EXPECT_THAT(listed, HasSubstr("\nsessions.memory_floor_mib         512 MiB\n    No session starts"));
    EXPECT_THAT(listed, HasSubstr("\nsessions.max                      2  (default)\n    Agents at work"));
    EXPECT_EQ(config({"unset", "sessions.memory_floor_mib"}).output,
              "sessions.memory_floor_mib is now 1024 MiB; that takes effect at once.\n");
}

TEST_F(ConfigCommandTest, WhatIsNotAllowedIsRefused) {
    const auto outcome = config({"set", "sessions.max", "lots"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.error,
              "quernlight-dispatch: sessions.max must be a whole number from 1 to 64; \"lots\" is not.\n");
}

}  // namespace
}  // namespace quernlight
