#include "host/store/done_work.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

const Instant begin = *parseInstant("2026-03-01T10:00:00Z");

/// In minutes after `begin`.
struct Times {
    int started = 0;
    std::optional<int> ended{};
    std::optional<int> lastOutput{};
};

struct Row {
    const char* name;
    std::vector<Times> attempts;
    bool isWorkedOn;
    DoneWork work;
};

Instant at(int minute) {
    return begin + minutes(minute);
}

SessionAttemptRecord attempt(const Times& times) {
    SessionAttemptRecord record{.startedAt = at(times.started)};
    record.endedAt = times.ended ? std::optional(at(*times.ended)) : std::nullopt;
    record.lastOutputAt = times.lastOutput ? std::optional(at(*times.lastOutput)) : std::nullopt;
    return record;
}

/// The period is from minute 0 to minute 60.
TEST(DoneWorkTest, CountsWhatLiesWithinThePeriod) {
    const std::vector<Row> rows{
        {"nothing", {}, false, {}},
        {"one attempt", {{5, 15}}, false, {1, minutes(10), at(5), at(15)}},
        {"two, with a pause", {{5, 15}, {30, 35}}, false, {2, minutes(15), at(5), at(35)}},
        {"one before it", {{-20, -10}, {30, 35}}, false, {1, minutes(5), at(30), at(35)}},
        {"one that began before it", {{-20, 10}}, false, {1, minutes(10), at(-20), at(10)}},
        {"one that runs", {{50}}, true, {1, minutes(10), at(50), std::nullopt}},
        {"one whose end nobody saw", {{50, std::nullopt, 53}}, false, {1, minutes(3), at(50), std::nullopt}},
        {"one that said nothing", {{50}}, false, {1, seconds(0), at(50), std::nullopt}},
        {"a lost one before one that runs", {{10}, {50}}, true, {2, minutes(10), at(10), std::nullopt}},
        {"one after it", {{70, 80}}, false, {}},
        {"a clock that went back", {{20, 10}}, false, {1, seconds(0), at(20), at(10)}},
    };
    for (const Row& row : rows) {
        std::vector<SessionAttemptRecord> attempts;
        for (const Times& times : row.attempts) {
            attempts.push_back(attempt(times));
        }
        const WorkPeriod period{.since = begin, .until = at(60), .isWorkedOn = row.isWorkedOn};
        EXPECT_EQ(doneWork(attempts, period), row.work) << row.name;
    }
}

TEST(DoneWorkTest, SpansOutliveTheirAttempts) {
    const std::vector<SessionAttemptRecord> attempts{attempt({5, 15}), attempt({30, std::nullopt, 40})};
    const WorkPeriod whole{.until = at(60)};
    const auto spans = workSpans(attempts, whole);
    EXPECT_EQ(readWorkSpans(textOf(spans)), spans);
    const WorkPeriod part{.since = at(10), .until = at(35)};
    EXPECT_EQ(doneWork(readWorkSpans(textOf(spans)), part), doneWork(attempts, part));
    EXPECT_TRUE(readWorkSpans("").empty());
    EXPECT_TRUE(readWorkSpans("what / ever ? /").empty());
}

TEST(DoneWorkTest, OfWorkThatIsKnownInSumNoMoreCountsThanFitsIntoThePeriod) {
    const DoneWork work{3, minutes(90), at(-500), at(20)};
    const WorkPeriod period{.since = begin, .until = at(60)};
    EXPECT_EQ(within(work, period), (DoneWork{3, minutes(20), at(-500), at(20)}));
    EXPECT_EQ(within({1, minutes(3)}, period), (DoneWork{1, minutes(3)}));
    EXPECT_EQ(within({1, minutes(3), at(-9), at(-6)}, period), DoneWork{});
}

}  // namespace
}  // namespace quernlight::host
