#include "quernlight/platform/spawn.hpp"

#include <csignal>

#include <gtest/gtest.h>

namespace quernlight {
namespace {

TEST(SignalNameTest, IsTheNameThatShellsUse) {
    EXPECT_EQ(signalName(SIGSEGV), "SIGSEGV");
    EXPECT_EQ(signalName(SIGKILL), "SIGKILL");
}

TEST(SignalNameTest, ANumberWithoutANameIsShownAsTheNumber) {
    EXPECT_EQ(signalName(999), "signal 999");
}

}  // namespace
}  // namespace quernlight
