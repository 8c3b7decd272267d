#include "quernlight/backend/records.hpp"

#include <gtest/gtest.h>

namespace quernlight {
namespace {

QLBugSummaryDTO bug(const char* id, int createdAt, const char* title = "") {
    QLBugSummaryDTO bug;
    bug.id = id;
    bug.title = title;
    bug.createdAt = Instant(std::chrono::seconds(createdAt));
    return bug;
}

std::vector<std::string> ids(const std::vector<QLBugSummaryDTO>& bugs) {
    std::vector<std::string> ids;
    for (const auto& each : bugs) {
        ids.push_back(each.id);
    }
    return ids;
}

TEST(BugListTest, TheNewestBugComesFirst) {
    EXPECT_EQ(ids(mergedBugs({{bug("a", 1), bug("b", 3)}, {bug("c", 2)}})),
              (std::vector<std::string>{"b", "c", "a"}));
}

TEST(BugListTest, OfBugsWithTheSameShortIdTheFirstIsKept) {
    const auto merged =
        mergedBugs({{bug("3F2A9C1D-0000", 1, "first")}, {bug(" 3f2a9c1d-1111", 2, "second")}});
    ASSERT_EQ(merged.size(), 1U);
    EXPECT_EQ(merged[0].title, "first");
}

TEST(BugListTest, ABugThatOneListHoldsTwiceIsKeptOnce) {
    EXPECT_EQ(ids(mergedBugs({{bug("a", 1), bug("b", 2), bug(" A ", 3)}})),
              (std::vector<std::string>{"b", "a"}));
}

TEST(BugListTest, BugsOfTheSameInstantStayInTheOrderInWhichTheyCame) {
    EXPECT_EQ(ids(mergedBugs({{bug("b", 1), bug("a", 1)}, {bug("c", 1)}})),
              (std::vector<std::string>{"b", "a", "c"}));
}

}  // namespace
}  // namespace quernlight
