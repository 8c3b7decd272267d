#include "quernlight/runner/open_terminal.hpp"

#include <gtest/gtest.h>

namespace quernlight {
namespace {

TEST(WindowSizeTest, EachValueIsAtLeastOneAndPixelsAreNotSaid) {
    const winsize size = windowSize(0, -5);
    EXPECT_EQ(size.ws_col, 1);
    EXPECT_EQ(size.ws_row, 1);
    EXPECT_EQ(size.ws_xpixel, 0);
    EXPECT_EQ(size.ws_ypixel, 0);
}

TEST(WindowSizeTest, TheLargestSizeHasSixteenBits) {
    EXPECT_EQ(windowSize(65535, 1).ws_col, 65535);
    EXPECT_EQ(windowSize(1, 65535).ws_row, 65535);
}

TEST(WindowSizeDeathTest, AnythingLargerStopsTheProgram) {
    EXPECT_DEATH(windowSize(65536, 24), "at most 65535");
    EXPECT_DEATH(windowSize(80, 1000000), "not 1000000");
}

}  // namespace
}  // namespace quernlight
