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

/// One bug, and a model that fails once it has the goal and answers well again later. That is no bug's fault:
/// nothing fails.
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

    /// Whatever the model does now, it answers well from here on.
    void modelAnswersWell() {
        modelPlays({});
        stopModel();
        startModel();
    }

    void expectCompletion() {
        EXPECT_TRUE(comes([&] { return status(bug()) == "completed"; })) << seen();
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
    ASSERT_NO_FATAL_FAILURE(startWith({{"do", "refuse"},
                                       {"status", 429},
                                       {"until", std::chrono::seconds(end.time_since_epoch()).count()}}));
    EXPECT_TRUE(says("unpause): The agent's use is limited until ")) << seen();
    EXPECT_TRUE(comes([&] { return attempts().size() == 2; })) << seen();
    EXPECT_GE(attempts().back().startedAt, end);
    expectNoFailure();
}

TEST_P(FailingModelTest, AUsageLimitWithoutATimePausesStarts) {
    ASSERT_NO_FATAL_FAILURE(startWith({{"do", "refuse"}, {"status", 429}, {"limit", "usage"}}));
    EXPECT_TRUE(says("then it is tried again: The agent's use is limited.")) << seen();
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
