#include "host/worktree/git_listing.hpp"

#include <gmock/gmock.h>

namespace quernlight::host {
namespace {

using testing::ElementsAre;

TEST(GitListingTest, AQuotedPathIsReadAsItIs) {
    EXPECT_EQ(unquoted("plain.txt"), "plain.txt");
    EXPECT_EQ(unquoted(R"("gr\303\266\303\237er \"1\"\t.txt")"), "gr\u00f6\u00dfer \"1\"\t.txt");
}

TEST(GitListingTest, AnIndexIsReadWithTheSidesOfItsConflicts) {
    const auto entries = indexEntries("100644 aa 0\ta.txt\n160000 bb 2\t\"b c\\\\\"\nwarning: what\n");
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].path, "a.txt");
    EXPECT_FALSE(entries[0].isRepository());
    EXPECT_EQ(entries[1].mode + entries[1].id + entries[1].path, "160000bbb c\\");
    EXPECT_EQ(entries[1].stage, 2);
    EXPECT_TRUE(entries[1].isRepository());
}

TEST(GitListingTest, WhatGitOverlooksIsToldByItsLetter) {
    const auto paths = overlookedPaths("H a\nh b\nS c\ns d\n? e\n");
    ASSERT_EQ(paths.size(), 3U);
    EXPECT_THAT((std::vector{paths[0].path, paths[1].path, paths[2].path}), ElementsAre("b", "c", "d"));
    EXPECT_FALSE(paths[0].isSkipped);
    EXPECT_TRUE(paths[1].isSkipped && paths[2].isSkipped);
}

}  // namespace
}  // namespace quernlight::host
