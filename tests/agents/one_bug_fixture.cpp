#include "tests/agents/one_bug_fixture.hpp"

#include <csignal>
#include <utility>

#include <boost/json.hpp>
#include <gmock/gmock.h>

namespace quernlight::test {
namespace json = boost::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

void OneBugFixture::startWith(json::object step) {
    step.emplace("times", 86400);
    startWithPlan({{"default", json::array{std::move(step)}}});
}

void OneBugFixture::startWithPlan(const json::object& plan) {
    modelPlays(plan);
    ASSERT_NO_FATAL_FAILURE(mapAndConfigure());
    program = startRun();
    ASSERT_TRUE(comes([&] { return modelLog().hasGoal(bug()); })) << seen();
}

void OneBugFixture::modelAnswersWell() {
    modelPlays({});
    stopModel();
    startModel();
}

bool OneBugFixture::comes(const std::function<bool()>& holds) {
    return waitUntil(*program, std::chrono::minutes(4), holds);
}

bool OneBugFixture::says(const std::string& text) {
    return comes([&] { return program->output().find(text) != std::string::npos; });
}

bool OneBugFixture::isInHistory(const std::string& kind) {
    return history(bug()).find(kind) != std::string::npos;
}

bool OneBugFixture::isOnScreen(const std::string& text) {
    const auto shown = dispatch({"sessions", "show", bug(), "--screen", "--home", home()});
    return shown.output.find(text) != std::string::npos;
}

void OneBugFixture::types(const std::string& keys) {
    const Outcome sent = dispatch({"sessions", "send", bug(), keys, "--raw", "--home", home()});
    EXPECT_EQ(sent.exitCode, 0) << sent.error;
}

void OneBugFixture::expectCompletion(std::chrono::minutes atMost) {
    EXPECT_TRUE(waitUntil(*program, atMost, [&] { return status(bug()) == "completed"; })) << seen();
    EXPECT_EQ(reportedSessions(bug()).size(), 1U) << seen();
    expectNoFailure();
}

void OneBugFixture::expectNoFailure() {
    EXPECT_THAT(events(bug()), Not(HasSubstr("failed"))) << seen();
    program->signal(SIGINT);
    program->exitCode();
    EXPECT_THAT(leaks, IsEmpty());
    expectNoProcessLeft();
}

std::string OneBugFixture::seen() {
    const auto screen = dispatch({"sessions", "show", bug(), "--screen", "--explain", "--home", home()});
    return story(bug()) + "\n" + program->output() + program->errorText() + screen.output + screen.error;
}

}  // namespace quernlight::test
