#include "host/intake/intake_choice.hpp"

#include <ostream>

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

IntakeRules anyBug(int room = 1000) {
    return {.scope = IntakeScope::dispatchBugs, .room = room};
}

std::vector<std::string> idsOf(const std::vector<QLBugSummaryDTO>& bugs) {
    std::vector<std::string> ids;
    for (const QLBugSummaryDTO& each : bugs) {
        ids.push_back(each.id);
    }
    return ids;
}

TEST(IntakeChoiceTest, TheOldestBugComesFirst) {
    const auto choice = chooseIntake({bug("new", 1), bug("old", 3), bug("middle", 2)}, {}, anyBug());
    EXPECT_THAT(idsOf(choice.newBugs), ElementsAre("old", "middle", "new"));
}

TEST(IntakeChoiceTest, OfBugsOfTheSameMomentTheLesserIdComesFirst) {
    EXPECT_THAT(idsOf(chooseIntake({bug("b"), bug("c"), bug("a")}, {}, anyBug()).newBugs),
                ElementsAre("a", "b", "c"));
}

TEST(IntakeChoiceTest, BugsThatTheQueueKnowsAreLeftOutInWhateverFormTheirIdIsWritten) {
    const auto choice =
        chooseIntake({bug("3F2A9C1D-0000-4000-8000-000000000000"), bug("77777777")}, {"3f2a9c1d"}, anyBug());
    EXPECT_THAT(idsOf(choice.newBugs), ElementsAre("77777777"));
}

TEST(IntakeChoiceTest, ABugThatIsListedTwiceIsTakenInOnce) {
    const auto choice = chooseIntake({bug("3f2a9c1d"), bug("3f2a9c1d", 0, "in_review")}, {}, anyBug());
    EXPECT_THAT(idsOf(choice.newBugs), ElementsAre("3f2a9c1d"));
}

TEST(IntakeChoiceTest, IdsThatCannotNameABranchAreReportedAndLeftOut) {
    const auto choice = chooseIntake({bug(".."), bug("a/b"), bug(""), bug("fine")}, {}, anyBug());
    EXPECT_THAT(choice.unusableBugIDs, ElementsAre("..", "a/b", ""));
    EXPECT_THAT(idsOf(choice.newBugs), ElementsAre("fine"));
}

TEST(IntakeChoiceTest, NothingFetchedIsNothingToDo) {
    const auto choice = chooseIntake({}, {"3f2a9c1d"}, anyBug());
    EXPECT_THAT(choice.newBugs, IsEmpty());
    EXPECT_THAT(choice.unusableBugIDs, IsEmpty());
}

TEST(IntakeChoiceTest, OfOpenBugsOnlyThoseInStatusOpenAreTaken) {
    const auto choice =
        chooseIntake({bug("a"), bug("b", 0, "in_review"), bug("c", 0, "investigate")}, {}, {});
    EXPECT_THAT(idsOf(choice.newBugs), ElementsAre("a"));
}

TEST(IntakeChoiceTest, WhatADayHasNoRoomForIsTheNewestAndIsCounted) {
    const auto choice = chooseIntake({bug("new", 1), bug("old", 3), bug("middle", 2)}, {"known"}, anyBug(2));
    EXPECT_THAT(idsOf(choice.newBugs), ElementsAre("old", "middle"));
    EXPECT_EQ(choice.leftForLater, 1);
    EXPECT_EQ(chooseIntake({bug("a"), bug("b")}, {}, anyBug(-3)).leftForLater, 2);
}

/// An item of the bug that `bug` makes.
BugQueueItem itemOf(const std::string& id, int age = 0, const std::string& title = "") {
    BugQueueItem item;
    item.bugID = id;
    item.title = title;
    item.createdAt = bug(id, age).createdAt;
    return item;
}

TEST(DistinctBugsTest, OfTwoBugsWithOneShortIdTheOlderIsKept) {
    const auto distinct = distinctBugs({bug("3f2a9c1d-b", 1), bug("3F2A9C1D-A", 2), bug("77777777")}, {});
    EXPECT_THAT(idsOf(distinct.bugs), ElementsAre("3F2A9C1D-A", "77777777"));
    EXPECT_THAT(distinct.collisions, ElementsAre(IDCollision{.kept = "3F2A9C1D-A", .leftOut = "3f2a9c1d-b"}));
}

TEST(DistinctBugsTest, OneThatTheQueueHasIsKeptAlsoWhenItIsTheYounger) {
    const auto distinct =
        distinctBugs({bug("3f2a9c1d-b", 1), bug("3f2a9c1d-a", 2)}, {itemOf("3f2a9c1d", 1, "Crash")});
    EXPECT_THAT(idsOf(distinct.bugs), ElementsAre("3f2a9c1d-b"));
    EXPECT_THAT(distinct.collisions, ElementsAre(IDCollision{.kept = "3f2a9c1d", .leftOut = "3f2a9c1d-a"}));
}

TEST(DistinctBugsTest, ABugOfAnotherTitleOrOfAnotherDateIsStillTheQueuesOwn) {
    for (const auto& item : {itemOf("3f2a9c1d", 0, "Crash"), itemOf("3f2a9c1d", 5)}) {
        EXPECT_THAT(distinctBugs({bug("3f2a9c1d-a")}, {item}).collisions, IsEmpty());
    }
}

TEST(DistinctBugsTest, ABugThatIsListedTwiceIsNoCollision) {
    const auto distinct = distinctBugs({bug("3f2a9c1d-a"), bug(" 3F2A9C1D-A", 0, "in_review")}, {});
    EXPECT_EQ(distinct.bugs.size(), 1U);
    EXPECT_THAT(distinct.collisions, IsEmpty());
}

/// One comment as "AUTHOR@SECOND".
QLCommentDTO commentOf(const std::string& text) {
    QLCommentDTO comment;
    const auto at = text.find('@');
    if (at > 0) {
        comment.authorType = text.substr(0, at);
    }
    comment.createdAt = Instant(std::chrono::seconds(std::stoi(text.substr(at + 1))));
    return comment;
}

struct FollowUpCase {
    QueueItemStatus status;
    std::vector<std::string> comments;
    bool wanted;
};

void PrintTo(const FollowUpCase& row, std::ostream* out) {
    *out << rawValue(row.status);
}

class FollowUpTest : public testing::TestWithParam<FollowUpCase> {};

TEST_P(FollowUpTest, IsWantedWhenAPersonHasTheLastWordOnWorkThatIsDone) {
    std::vector<QLCommentDTO> comments;
    for (const std::string& text : GetParam().comments) {
        comments.push_back(commentOf(text));
    }
    EXPECT_EQ(wantsFollowUp(GetParam().status, Instant(std::chrono::seconds(10)), comments),
              GetParam().wanted);
}

using enum QueueItemStatus;
INSTANTIATE_TEST_SUITE_P(Table, FollowUpTest,
                         testing::Values(FollowUpCase{completed, {"agent@5", "user@6"}, true},
                                         FollowUpCase{completed, {"user@6", "agent@5"}, true},
                                         FollowUpCase{completed, {"user@4", "agent@5"}, false},
                                         FollowUpCase{completed, {"user@6", "agent@7"}, false},
                                         FollowUpCase{completed, {"user@5", "agent@5"}, false},
                                         FollowUpCase{completed, {"agent@5", "system@6"}, false},
                                         FollowUpCase{completed, {"agent@5", "@6"}, true},
                                         FollowUpCase{completed, {"user@11"}, true},
                                         FollowUpCase{completed, {"user@9"}, false},
                                         FollowUpCase{completed, {}, false},
                                         FollowUpCase{awaitingUserInput, {"agent@5", "user@6"}, true},
                                         FollowUpCase{awaitingUserInput, {"user@4", "agent@5"}, false},
                                         FollowUpCase{failed, {"agent@5", "user@6"}, false},
                                         FollowUpCase{cancelled, {"agent@5", "user@6"}, false},
                                         FollowUpCase{queued, {"agent@5", "user@6"}, false},
                                         FollowUpCase{running, {"agent@5", "user@6"}, false}));

}  // namespace
}  // namespace quernlight::host
