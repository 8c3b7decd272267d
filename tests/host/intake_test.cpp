#include "host/intake.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

QLBugSummaryDTO bug(const std::string& id, int age = 0, const std::string& status = "open") {
    QLBugSummaryDTO summary;
    summary.id = id;
    summary.status = status;
    summary.createdAt = parseInstant("2026-03-04T05:06:07Z").value() - std::chrono::hours(age);
    return summary;
}

std::vector<std::string> idsOf(const std::vector<QLBugSummaryDTO>& bugs) {
    std::vector<std::string> ids;
    for (const QLBugSummaryDTO& each : bugs) {
        ids.push_back(each.id);
    }
    return ids;
}

TEST(IntakeTest, TheOldestBugComesFirst) {
    const auto choice = chooseIntake({bug("new", 1), bug("old", 3), bug("middle", 2)}, {}, 200);
    EXPECT_THAT(idsOf(choice.newBugs), ElementsAre("old", "middle", "new"));
}

TEST(IntakeTest, OfBugsOfTheSameMomentTheLesserIdComesFirst) {
    EXPECT_THAT(idsOf(chooseIntake({bug("b"), bug("c"), bug("a")}, {}, 200).newBugs),
                ElementsAre("a", "b", "c"));
}

TEST(IntakeTest, BugsThatTheQueueKnowsAreLeftOutInWhateverFormTheirIdIsWritten) {
    const auto choice =
        chooseIntake({bug("3F2A9C1D-0000-4000-8000-000000000000"), bug("77777777")}, {"3f2a9c1d"}, 200);
    EXPECT_THAT(idsOf(choice.newBugs), ElementsAre("77777777"));
}

TEST(IntakeTest, ABugThatIsListedTwiceIsTakenInOnce) {
    const auto choice = chooseIntake({bug("3f2a9c1d"), bug("3f2a9c1d", 0, "in_review")}, {}, 200);
    EXPECT_THAT(idsOf(choice.newBugs), ElementsAre("3f2a9c1d"));
}

TEST(IntakeTest, IdsThatCannotNameABranchAreReportedAndLeftOut) {
    const auto choice = chooseIntake({bug(".."), bug("a/b"), bug(""), bug("fine")}, {}, 200);
    EXPECT_THAT(choice.unusableBugIDs, ElementsAre("..", "a/b", ""));
    EXPECT_THAT(idsOf(choice.newBugs), ElementsAre("fine"));
}

TEST(IntakeTest, AStatusWithAsManyBugsAsWereAskedForIsReportedAlsoWhenAllAreKnown) {
    const auto choice = chooseIntake({bug("a"), bug("b"), bug("c", 0, "in_review"),
                                      bug("d", 0, "investigate"), bug("e", 0, "investigate")},
                                     {"a", "b"}, 2);
    EXPECT_THAT(choice.cutStatuses, ElementsAre("investigate", "open"));
}

TEST(IntakeTest, NothingFetchedIsNothingToDo) {
    const auto choice = chooseIntake({}, {"3f2a9c1d"}, 200);
    EXPECT_THAT(choice.newBugs, IsEmpty());
    EXPECT_THAT(choice.cutStatuses, IsEmpty());
    EXPECT_THAT(choice.unusableBugIDs, IsEmpty());
}

}  // namespace
}  // namespace quernlight::host
