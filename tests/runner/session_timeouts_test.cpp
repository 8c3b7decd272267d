#include "quernlight/runner/session_timeouts.hpp"

#include <chrono>
#include <optional>

#include <gtest/gtest.h>

namespace quernlight {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// A session with an idle limit of 60 seconds and a grace of 5; times are seconds since its start.
class SessionTimeoutsTest : public testing::Test {
  protected:
    static constexpr auto idle = SessionTimeoutDecision::idleTimeout;
    static constexpr auto withoutComment = SessionTimeoutDecision::exitWithoutCompletionComment;

    void exited(int second, std::optional<std::int32_t> code) {
        state_.exitedAt = at(seconds(second));
        state_.exitCode = code;
    }

    std::optional<SessionTimeoutDecision> decisionAt(milliseconds time) const {
        return SessionTimeoutEvaluator::decision(at(time), state_, settings_);
    }

    static Instant at(milliseconds time) { return start + time; }

    static constexpr Instant start{std::chrono::sys_days(std::chrono::year{2026} / 3 / 4)};
    static constexpr milliseconds aLittle{1};
    SessionTimeoutState state_{.startedAt = start};
    SessionTimeoutSettings settings_{.idleTimeoutSeconds = 60, .postExitCommentGraceSeconds = 5};
};

TEST_F(SessionTimeoutsTest, EachDecisionHasItsReason) {
    EXPECT_EQ(failureReason(idle), "Idle timeout elapsed before completion.");
    EXPECT_EQ(failureReason(withoutComment), "Codex exited without posting a completion comment.");
}

TEST_F(SessionTimeoutsTest, ElapsedTimeEqualToTheIdleLimitGivesNoDecision) {
    EXPECT_EQ(decisionAt(seconds(60)), std::nullopt);
    EXPECT_EQ(decisionAt(seconds(60) + aLittle), idle);
}

TEST_F(SessionTimeoutsTest, ElapsedTimeEqualToTheGraceGivesNoDecision) {
    exited(10, 0);
    EXPECT_EQ(decisionAt(seconds(15)), std::nullopt);
    EXPECT_EQ(decisionAt(seconds(15) + aLittle), withoutComment);
}

TEST_F(SessionTimeoutsTest, AFailedOrUnknownExitIsOnlyEverIdle) {
    for (const std::optional<std::int32_t> code : {std::optional<std::int32_t>(1), {}}) {
        exited(10, code);
        EXPECT_EQ(decisionAt(seconds(60)), std::nullopt);
        EXPECT_EQ(decisionAt(seconds(61)), idle);
        EXPECT_EQ(decisionAt(std::chrono::hours(10)), idle);
    }
}

TEST_F(SessionTimeoutsTest, OutputAndNewCommentsResetTheIdleClockWhicheverIsLater) {
    state_.lastOutputAt = at(seconds(30));
    EXPECT_EQ(decisionAt(seconds(90)), std::nullopt);
    state_.lastCommentPollWithNewCommentAt = at(seconds(50));
    EXPECT_EQ(decisionAt(seconds(110)), std::nullopt);
    EXPECT_EQ(decisionAt(seconds(111)), idle);
}

TEST_F(SessionTimeoutsTest, ActivityBeforeTheStartDoesNotShortenTheIdleTime) {
    state_.lastOutputAt = at(seconds(-100));
    EXPECT_EQ(decisionAt(seconds(60)), std::nullopt);
}

TEST_F(SessionTimeoutsTest, TheFirstRuleThatFiresDecides) {
    struct Row {
        const char* name;
        SessionTimeoutState state;
        int now;
        std::optional<SessionTimeoutDecision> expected;
    };
    const Row rows[] = {
        {"running", {start}, 60, {}},
        {"running, idle", {start}, 61, idle},
        {"output", {start, at(seconds(1))}, 61, {}},
        {"output, idle since", {start, at(seconds(1))}, 62, idle},
        {"a comment", {start, {}, at(seconds(2))}, 62, {}},
        {"a comment, idle since", {start, {}, at(seconds(2))}, 63, idle},
        {"both idle and overdue", {start, {}, {}, at(seconds(2)), 0}, 100, withoutComment},
        {"overdue", {start, {}, {}, at(seconds(2)), 0}, 8, withoutComment},
        {"overdue though a comment came", {start, {}, at(seconds(7)), at(seconds(2)), 0}, 8, withoutComment},
        {"in its grace", {start, {}, {}, at(seconds(2)), 0}, 7, {}},
        {"overdue though output came", {start, at(seconds(7)), {}, at(seconds(2)), 0}, 8, withoutComment},
        {"in its grace, idle", {start, {}, {}, at(seconds(58)), 0}, 61, idle},
        {"a failed exit", {start, {}, {}, at(seconds(2)), 1}, 8, {}},
        {"a death by signal", {start, {}, {}, at(seconds(2)), 137}, 61, idle},
        {"a code without an exit", {start, {}, {}, {}, 0}, 8, {}},
        {"an exit without a code", {start, {}, {}, at(seconds(2)), {}}, 8, {}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(SessionTimeoutEvaluator::decision(at(seconds(row.now)), row.state, settings_), row.expected)
            << row.name;
    }
}

TEST_F(SessionTimeoutsTest, FractionsOfASecondCount) {
    settings_ = {.idleTimeoutSeconds = 0.5, .postExitCommentGraceSeconds = 0.25};
    EXPECT_EQ(decisionAt(milliseconds(500)), std::nullopt);
    EXPECT_EQ(decisionAt(milliseconds(501)), idle);
    exited(0, 0);
    EXPECT_EQ(decisionAt(milliseconds(250)), std::nullopt);
    EXPECT_EQ(decisionAt(milliseconds(251)), withoutComment);
}

TEST_F(SessionTimeoutsTest, AClockThatMovedBackwardsGivesNoDecision) {
    state_.lastOutputAt = at(seconds(5));
    exited(10, 0);
    EXPECT_EQ(decisionAt(seconds(-3600)), std::nullopt);
}

}  // namespace
}  // namespace quernlight
