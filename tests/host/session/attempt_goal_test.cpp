#include "host/session/attempt_goal.hpp"

#include <gtest/gtest.h>

#include "host/events/event_kind.hpp"

namespace quernlight::host {
namespace {

struct Row {
    const char* name;
    std::vector<EventKind> history;
    bool isTypedAgain;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

class RefusedGoalTest : public testing::TestWithParam<Row> {};

TEST_P(RefusedGoalTest, IsTypedOnceMoreInAFreshAttempt) {
    std::vector<QueueEvent> events;
    for (const EventKind kind : GetParam().history) {
        events.push_back({.kind = std::string(storedText(kind))});
    }
    EXPECT_EQ(mayTypeGoalAgain(events), GetParam().isTypedAgain);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedGoalTest,
    testing::Values(
        Row{"nothing has happened", {}, true}, Row{"its first attempt", {EventKind::startingCodex}, true},
        Row{"refused before", {EventKind::goalRefused, EventKind::startingCodex}, false},
        Row{"refused, then accepted", {EventKind::goalRefused, EventKind::goalAccepted}, true},
        Row{"accepted, then refused", {EventKind::goalAccepted, EventKind::goalRefused}, false},
        Row{"refused, then retried by a person", {EventKind::goalRefused, EventKind::retried}, true}));

}  // namespace
}  // namespace quernlight::host
