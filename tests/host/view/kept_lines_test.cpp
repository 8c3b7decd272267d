#include "host/view/kept_lines.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(KeptLinesTest, WhatIsDroppedIsCounted) {
    KeptLines kept;
    EXPECT_THAT(kept.lines(), IsEmpty());
    for (std::size_t number = 1; number <= KeptLines::most; ++number) {
        kept.add(std::to_string(number));
    }
    EXPECT_THAT(kept.lines(), SizeIs(KeptLines::most));
    kept.add("101");
    kept.add("102");
    const auto lines = kept.lines();
    ASSERT_THAT(lines, SizeIs(KeptLines::most + 1));
    EXPECT_EQ(lines[0], "Of what was told, the first 2 lines are not kept; run --log-file FILE keeps all.");
    EXPECT_EQ(lines[1], "3");
    EXPECT_EQ(lines.back(), "102");
}

}  // namespace
}  // namespace quernlight::host
