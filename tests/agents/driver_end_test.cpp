#include <csignal>
#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agents/released_agents_fixture.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;

/// Another process of this program, ended while it has a dispatcher and an agent at work.
class DriverEndTest : public testing::TestWithParam<int> {
  protected:
    bool isAgentAtWork() {
        for (const auto& place : fs::directory_iterator(directory.path())) {
            const fs::path log = place.path() / "model.log";
            if (fs::exists(log) && test::ModelLog(log).hasGoal("10000000")) {
                return true;
            }
        }
        return false;
    }

    /// Those that have the directory in their arguments or their environment, or work in it.
    std::vector<std::string> processesLeft() {
        auto left = test::processesThatHold("", directory.path());
        for (const pid_t process : test::processesWorkingIn(directory.path())) {
            left.push_back(std::to_string(process));
        }
        return left;
    }

    const test::TemporaryDirectory directory;
    test::DispatchProcess driver{
        {.program = fs::canonical("/proc/self/exe"),
         .arguments = {"--gtest_filter=Agents/FailingModelTest.ASilentModelIsWaitedFor/*"},
         .environment = {{"PATH", std::getenv("PATH")},
                         {"RELEASES", test::releases().front()},
                         {"TMPDIR", directory.path()}},
         .output = directory / "output"}};
};

TEST_P(DriverEndTest, EndsWhatItHasStarted) {
    ASSERT_TRUE(test::eventually([&] { return isAgentAtWork(); })) << driver.output();
    EXPECT_GE(processesLeft().size(), 5U);  // itself, the dispatcher, the agent, the model and the backend
    driver.signal(GetParam());
    EXPECT_EQ(driver.exitCode(), 128 + GetParam()) << driver.output();
    test::eventually([&] { return processesLeft().empty(); });  // after a kill -9 the others find out
    EXPECT_THAT(processesLeft(), IsEmpty());
}

/// `make agents` starts this program so.
TEST(BusyMachineTest, ASignalGoesToTheCommandAndNothingIsLeft) {
    const test::TemporaryDirectory directory;
    test::DispatchProcess script(
        {.program = fs::path(AGENTS_DIRECTORY) / "../../packaging/run-on-a-busy-machine",
         .arguments = {"sh", "-c", "trap 'exit 5' TERM; echo up; while :; do sleep 0.1; done"},
         .environment = {{"PATH", std::getenv("PATH")}, {"TMPDIR", directory.path()}},
         .output = directory / "output"});
    ASSERT_TRUE(script.says("up")) << script.errorText();
    script.signal(SIGTERM);
    EXPECT_EQ(script.exitCode(), 5) << script.errorText();
    test::eventually([&] { return test::processesThatHold("", directory.path()).empty(); });
    EXPECT_THAT(test::processesThatHold("", directory.path()), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Signals, DriverEndTest, testing::Values(SIGINT, SIGTERM, SIGKILL));

}  // namespace
}  // namespace quernlight
