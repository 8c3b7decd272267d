#include "host/metrics/event_counts.hpp"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/metrics/metrics_resource.hpp"

namespace quernlight::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class EventCountsTest : public testing::Test {
  protected:
    void happens(EventKind kind, int second = 0, Uuid item = parseUuid(one).value()) {
        counts.handle(ItemChanged{.bugID = "11111111",
                                  .event = {.queueItemID = item,
                                            .kind = std::string(storedText(kind)),
                                            .message = "A title",
                                            .createdAt = begun + std::chrono::seconds(second)}});
    }
    std::string text() const { return expositionText(counts.metrics()); }

    static constexpr const char* one = "00000000-0000-4000-8000-000000000001";
    static constexpr const char* other = "00000000-0000-4000-8000-000000000002";
    const Instant begun = parseInstant("2026-03-01T10:00:00Z").value();
    EventCounts counts;
};

TEST_F(EventCountsTest, EventsAreCountedByTypeAndKind) {
    happens(EventKind::enqueued);
    happens(EventKind::enqueued);
    counts.handle(Notice{"Something."});
    EXPECT_THAT(text(), AllOf(HasSubstr("quernlight_events_total{type=\"item_changed\"} 2\n"),
                              HasSubstr("quernlight_events_total{type=\"notice\"} 1\n"),
                              HasSubstr("quernlight_events_total{type=\"alert_raised\"} 0\n"),
                              HasSubstr("quernlight_item_events_total{kind=\"enqueued\"} 2\n"),
                              HasSubstr("quernlight_item_events_total{kind=\"retired\"} 0\n")));
}

TEST_F(EventCountsTest, GoalsAreCountedByWhatBecameOfThem) {
    for (const EventKind kind : {EventKind::typed, EventKind::typed, EventKind::goalAccepted,
                                 EventKind::goalRefused, EventKind::goalNotTyped}) {
        happens(kind);
    }
    EXPECT_THAT(text(), AllOf(HasSubstr("quernlight_goals_total{result=\"typed\"} 2\n"),
                              HasSubstr("quernlight_goals_total{result=\"accepted\"} 1\n"),
                              HasSubstr("quernlight_goals_total{result=\"refused\"} 1\n"),
                              HasSubstr("quernlight_goals_total{result=\"not_typed\"} 1\n")));
}

TEST_F(EventCountsTest, APromptIsWaitedForFromTheAgentsStartToTheGoalsFirstKey) {
    happens(EventKind::agentStarted, 0);
    happens(EventKind::agentStarted, 1, parseUuid(other).value());
    happens(EventKind::typing, 4);
    happens(EventKind::typing, 16, parseUuid(other).value());
    happens(EventKind::typing, 99);
    EXPECT_THAT(text(), AllOf(HasSubstr("quernlight_prompt_wait_seconds_bucket{le=\"5\"} 1\n"),
                              HasSubstr("quernlight_prompt_wait_seconds_sum 19\n"),
                              HasSubstr("quernlight_prompt_wait_seconds_count 2\n")));
}

TEST_F(EventCountsTest, APromptThatNeverCameIsNotCounted) {
    happens(EventKind::agentStarted, 0);
    happens(EventKind::failed, 60);
    happens(EventKind::typing, 90);
    EXPECT_THAT(text(), HasSubstr("quernlight_prompt_wait_seconds_count 0\n"));
}

TEST_F(EventCountsTest, WhatHappensAddsNoSeries) {
    const auto seriesOf = [this] { return std::ranges::count(text(), '\n'); };
    const auto before = seriesOf();
    happens(EventKind::enqueued, 0, randomUuid());
    counts.handle(ItemChanged{.bugID = "22222222", .event = {.kind = "of another version"}});
    counts.handle(AlertRaised{{AlertTopic::starting, "22222222"}, "A title."});
    EXPECT_EQ(seriesOf(), before);
    EXPECT_THAT(text(), AllOf(Not(HasSubstr("title")), Not(HasSubstr("2222")), Not(HasSubstr("another"))));
}

TEST(QueueMetricsTest, SessionsAndBugsAreCountedByWhereTheyAre) {
    QueueEntry queued, failed;
    failed.item.status = QueueItemStatus::failed;
    failed.stage = SessionStage::failed;
    const std::string text = expositionText(
        queueMetrics({{.stage = SessionStage::working}, {.stage = SessionStage::working}}, {queued, failed}));
    EXPECT_THAT(text, AllOf(HasSubstr("quernlight_sessions{state=\"working\"} 2\n"),
                            HasSubstr("quernlight_sessions{state=\"needs_person\"} 0\n"),
                            HasSubstr("quernlight_queue_bugs{status=\"queued\"} 1\n"),
                            HasSubstr("quernlight_queue_bugs{status=\"failed\"} 1\n"),
                            HasSubstr("quernlight_bugs_needing_attention 1\n")));
}

}  // namespace
}  // namespace quernlight::host
