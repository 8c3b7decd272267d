#include <boost/json.hpp>
#include <gtest/gtest.h>

#include "tests/agents/one_bug_fixture.hpp"

namespace quernlight {
namespace json = boost::json;
namespace {

/// One bug, and a model that fails once it has the goal and answers well again later. That is no bug's fault:
/// nothing fails, people are told, and the same run completes the bug.
class FailingModelTest : public test::OneBugFixture {
  protected:
    /// Starts pause, or a person is called.
    bool isTold() {
        return program->output().find("No bug is started for the next ") != std::string::npos ||
               isInHistory("needsPerson");
    }

    static json::object limitUntil(Instant end) {
        const auto seconds = std::chrono::floor<std::chrono::seconds>(end.time_since_epoch()).count();
        return {{"do", "refuse"}, {"status", 429}, {"until", seconds}};
    }
};

/// Agents name the minute in which it ends.
TEST_P(FailingModelTest, AUsageLimitPausesStartsUntilItEnds) {
    const auto soon = std::chrono::floor<std::chrono::seconds>(currentInstant() + std::chrono::seconds(75));
    const auto end = std::chrono::ceil<std::chrono::minutes>(soon);
    ASSERT_NO_FATAL_FAILURE(startWith(limitUntil(end)));
    EXPECT_TRUE(says("unpause): The agent's use is limited until ")) << seen();
    EXPECT_TRUE(comes([&] { return attempts().size() == 2; })) << seen();
    EXPECT_GE(attempts().back().startedAt, end);
    modelPlays({});
    expectCompletion();
}

/// The minute that the agent names has begun by the time that it is met again.
TEST_P(FailingModelTest, AUsageLimitThatEndsWithinTheNamedMinutePausesStartsShortly) {
    const auto soon = std::chrono::ceil<std::chrono::minutes>(currentInstant() + std::chrono::seconds(40));
    const auto end = soon + std::chrono::seconds(25);
    ASSERT_NO_FATAL_FAILURE(startWith(limitUntil(end)));
    EXPECT_TRUE(says("unpause): The agent's use is limited until ")) << seen();
    EXPECT_TRUE(comes([&] { return currentInstant() >= end; }));
    modelPlays({});
    expectCompletion();
}

TEST_P(FailingModelTest, AWrongKeyFailsNoBug) {
    ASSERT_NO_FATAL_FAILURE(startWith({{"do", "refuse"}, {"status", 401}}));
    EXPECT_TRUE(comes([&] { return isTold(); })) << seen();
    modelAnswersWell();
    expectCompletion();
}

TEST_P(FailingModelTest, TooManyRequestsFailNoBug) {
    ASSERT_NO_FATAL_FAILURE(startWith({{"do", "refuse"}, {"status", 429}, {"retry_after", 5}}));
    EXPECT_TRUE(comes([&] { return isTold(); })) << seen();
    modelAnswersWell();
    expectCompletion();
}

TEST_P(FailingModelTest, AServerThatFailsFailsNoBug) {
    ASSERT_NO_FATAL_FAILURE(startWith({{"do", "refuse"}, {"status", 503}}));
    EXPECT_TRUE(comes([&] { return isTold(); })) << seen();
    modelAnswersWell();
    expectCompletion();
}

/// A newer agent waits for the network by itself, an older one gives up.
TEST_P(FailingModelTest, AModelThatCannotBeReachedFailsNoBug) {
    ASSERT_NO_FATAL_FAILURE(startWith({{"do", "wait"}, {"seconds", 3600}}));
    stopModel();
    EXPECT_TRUE(comes([&] { return isTold() || isOnScreen("waiting for network"); })) << seen();
    modelAnswersWell();
    expectCompletion();
}

TEST_P(FailingModelTest, AUsageLimitWithoutATimePausesStarts) {
    ASSERT_NO_FATAL_FAILURE(startWith({{"do", "refuse"}, {"status", 429}, {"limit", "usage"}}));
    EXPECT_TRUE(says("unpause): The agent's use is limited.")) << seen();
    EXPECT_TRUE(comes([&] { return history(bug()).ends_with("resumable"); })) << seen();
    expectNoFailure();
}

TEST_P(FailingModelTest, ASilentModelIsWaitedFor) {
    ASSERT_NO_FATAL_FAILURE(startWith({{"do", "wait"}, {"seconds", 3600}}));
    EXPECT_TRUE(comes([&] {
        return dispatch({"sessions", "list", "--json", "--home", home()}).output.find("\"working\"") !=
               std::string::npos;
    })) << seen();
    modelAnswersWell();
    expectCompletion();
}

INSTANTIATE_TEST_SUITE_P(Agents, FailingModelTest, testing::ValuesIn(test::releases()), test::nameOfRelease);

}  // namespace
}  // namespace quernlight
