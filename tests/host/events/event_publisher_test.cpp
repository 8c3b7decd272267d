#include "host/events/event_publisher.hpp"

#include <stdexcept>

#include <gmock/gmock.h>

#include "tests/host/published_events.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class EventPublisherTest : public testing::Test {
  protected:
    void progress(SessionStage stage, const std::string& detail = "") {
        events.progress({.bugID = "3f2a9c1d", .stage = stage, .detail = detail});
    }

    EventPublisher events;
    test::PublishedEvents published{events};
};

TEST_F(EventPublisherTest, AStageIsPublishedWhenItChangesAndADetailInBetween) {
    std::vector<std::string> details;
    const auto subscription = events.subscribe([&](const DispatchEvent& event) {
        if (const auto* changed = std::get_if<DetailChanged>(&event)) {
            details.push_back(changed->progress.detail);
        }
    });
    progress(SessionStage::working);
    progress(SessionStage::working, "reading");
    progress(SessionStage::inReview);
    EXPECT_THAT(published.stages, ElementsAre("3f2a9c1d working", "3f2a9c1d in review"));
    EXPECT_THAT(details, ElementsAre("reading"));
}

TEST_F(EventPublisherTest, WhatHoldsIsKeptForThoseWhoComeLater) {
    progress(SessionStage::working, "reading");
    events.alert({AlertTopic::starting, "3f2a9c1d"}, "It waits.");
    ASSERT_TRUE(events.bugs().contains("3f2a9c1d"));
    EXPECT_EQ(events.bugs().at("3f2a9c1d").detail, "reading");
    EXPECT_THAT(events.alerts(), ElementsAre(Pair(AlertKey{AlertTopic::starting, "3f2a9c1d"}, "It waits.")));
    events.removed("3f2a9c1d");
    events.alert({AlertTopic::starting, "3f2a9c1d"}, "");
    EXPECT_THAT(events.bugs(), IsEmpty());
    EXPECT_THAT(events.alerts(), IsEmpty());
}

TEST_F(EventPublisherTest, AnAlertOfOneSubjectLeavesThatOfAnotherAlone) {
    events.alert({AlertTopic::starting, "3f2a9c1d"}, "One waits.");
    events.alert({AlertTopic::starting, "77777777"}, "The other waits.");
    events.alert({AlertTopic::starting, "3f2a9c1d"}, "");
    EXPECT_THAT(events.alerts(),
                ElementsAre(Pair(AlertKey{AlertTopic::starting, "77777777"}, "The other waits.")));
}

TEST_F(EventPublisherTest, ANoticeThatIsWantedOnceIsPublishedOnce) {
    events.noticeOnce("Once.");
    events.noticeOnce("Once.");
    events.notice("Twice.");
    events.notice("Twice.");
    EXPECT_THAT(published.notices, ElementsAre("Once.", "Twice.", "Twice."));
}

TEST_F(EventPublisherTest, WhoHasLeftIsToldNothingAlsoWhenItLeavesInAHandler) {
    int told = 0;
    EventPublisher::Subscription leaving = events.subscribe([&](const DispatchEvent&) {
        ++told;
        leaving.reset();
    });
    events.notice("One.");
    events.notice("Two.");
    EXPECT_EQ(told, 1);
    EXPECT_THAT(published.notices, ElementsAre("One.", "Two."));
}

TEST_F(EventPublisherTest, AHandlerThatThrowsConcernsNobodyElse) {
    const auto throwing = events.subscribe([](const DispatchEvent&) { throw std::runtime_error("no room"); });
    test::PublishedEvents later(events);
    testing::internal::CaptureStderr();
    EXPECT_NO_THROW(events.notice("One."));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "a subscriber of events: no room\n");
    EXPECT_THAT(later.notices, ElementsAre("One."));
}

TEST(EventKindTest, EveryStoredTextIsReadBackAsItsKind) {
    for (int number = 0; number <= static_cast<int>(EventKind::retired); ++number) {
        const auto kind = static_cast<EventKind>(number);
        EXPECT_EQ(parseEventKind(storedText(kind)), kind) << storedText(kind);
    }
    EXPECT_EQ(parseEventKind("later"), std::nullopt);
    EXPECT_TRUE(isOwnKind("worktreeReady"));
    EXPECT_FALSE(isOwnKind("codexSessionRestored"));
}

TEST(SessionStageTest, EveryStageHasWordsThatFitTheView) {
    for (int number = 0; number <= static_cast<int>(SessionStage::cancelled); ++number) {
        const std::string_view text = stageText(static_cast<SessionStage>(number));
        EXPECT_FALSE(text.empty()) << number;
        EXPECT_LE(text.size(), 18U) << text;
    }
}

struct StatusRow {
    QueueItemStatus status{};
    QueueMode mode = QueueMode::automatic;
    std::string text;
    bool needsAttention = false;
};

TEST(SessionStageTest, EveryStatusHasOneTextAndSaysWhetherItNeedsAttention) {
    using enum QueueItemStatus;
    const std::vector<StatusRow> rows{
        {queued, QueueMode::automatic, "queued", false},
        {queued, QueueMode::manual, "needs start", true},
        {waitingForMapping, QueueMode::automatic, "needs mapping", true},
        {startingCodex, QueueMode::automatic, "running", false},
        {running, QueueMode::automatic, "running", false},
        {codexCompleted, QueueMode::automatic, "running", false},
        {completed, QueueMode::automatic, "in review", false},
        {awaitingUserInput, QueueMode::automatic, "needs reply", true},
        {failed, QueueMode::automatic, "failed", true},
        {cancelled, QueueMode::automatic, "cancelled", false},
    };
    for (const StatusRow& row : rows) {
        const BugQueueItem item{.queueMode = row.mode, .status = row.status};
        EXPECT_EQ(statusText(item), row.text);
        EXPECT_EQ(needsAttention(item), row.needsAttention) << row.text;
    }
}

}  // namespace
}  // namespace quernlight::host
