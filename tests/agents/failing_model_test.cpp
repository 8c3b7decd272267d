#include <csignal>

#include <boost/json.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agents/released_agents_fixture.hpp"

namespace quernlight {
namespace json = boost::json;
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr std::chrono::minutes longestWait{4};
constexpr std::chrono::minutes longestPause{8};

/// One bug, and a model that fails once it has the goal and answers well again later. That is no bug's fault:
/// nothing fails, people are told, and the same run completes the bug.
class FailingModelTest : public test::ReleasedAgentsFixture {
  protected:
    FailingModelTest() : ReleasedAgentsFixture(1) {}

    /// A run whose agent has its goal from a model that does this first.
    void startWith(json::object step) {
        step.emplace("times", 86400);
        modelPlays({{"default", json::array{std::move(step)}}});
        ASSERT_NO_FATAL_FAILURE(mapAndConfigure());
        program = startRun();
        ASSERT_TRUE(comes([&] { return modelLog().hasGoal(bug()); })) << seen();
    }

    bool comes(const std::function<bool()>& holds) { return waitUntil(*program, longestWait, holds); }
    bool says(const std::string& text) {
        return comes([&] { return program->output().find(text) != std::string::npos; });
    }

    /// Starts pause, or a person is called.
    bool isTold() {
        return program->output().find("No bug is started for the next ") != std::string::npos ||
               history(bug()).find("needsPerson") != std::string::npos;
    }

    bool isOnScreen(const std::string& text) {
        const auto shown = dispatch({"sessions", "show", bug(), "--screen", "--home", home()});
        return shown.output.find(text) != std::string::npos;
    }

    static json::object limitUntil(Instant end) {
        const auto seconds = std::chrono::floor<std::chrono::seconds>(end.time_since_epoch()).count();
        return {{"do", "refuse"}, {"status", 429}, {"until", seconds}};
    }

    /// Whatever the model does now, it answers well from here on.
    void modelAnswersWell() {
        modelPlays({});
        stopModel();
        startModel();
    }

    void expectCompletion() {
        EXPECT_TRUE(waitUntil(*program, longestPause, [&] { return status(bug()) == "completed"; }))
            << seen();
        EXPECT_EQ(reportedSessions(bug()).size(), 1U) << seen();
        expectNoFailure();
    }

    void expectNoFailure() {
        EXPECT_THAT(events(bug()), Not(HasSubstr("failed"))) << seen();
        program->signal(SIGINT);
        program->exitCode();
        EXPECT_THAT(leaks, IsEmpty());
        expectNoProcessLeft();
    }

    std::string seen() {
        const auto screen = dispatch({"sessions", "show", bug(), "--screen", "--explain", "--home", home()});
        return story(bug()) + "\n" + program->output() + program->errorText() + screen.output + screen.error;
    }

    const std::string& bug() const { return bugs.front(); }

    Run program;
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
