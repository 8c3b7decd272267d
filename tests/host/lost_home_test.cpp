#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

/// The home goes away under a dispatcher that waits for bugs.
class LostHomeTest : public test::DispatchFixture {
  protected:
    void SetUp() override {
        mapApp();
        dispatch({"config", "set", "poll.bugs_seconds", "0.2", "--home", home()});
        startBackend();
    }
    std::unique_ptr<test::DispatchProcess> waitingDispatcher() {
        auto program = start(runWith());
        EXPECT_TRUE(test::eventually([&] {
            return dispatch({"sessions", "list", "--home", home()}).exitCode == 0;
        }));
        return program;
    }
    static void stop(test::DispatchProcess& program) {
        program.signal(SIGTERM);
        EXPECT_EQ(program.exitCode(), 0) << program.errorText();
    }
    static int timesSaid(const test::DispatchProcess& program, const std::string& text) {
        const std::string output = program.output();
        int times = 0;
        for (auto at = output.find(text); at != std::string::npos; at = output.find(text, at + 1)) {
            ++times;
        }
        return times;
    }

    static constexpr const char* alert = "was removed, moved or replaced while this dispatcher runs";
    static constexpr const char* remedy =
        "Put it back as it was, or stop this dispatcher and start it again.";
};

TEST_F(LostHomeTest, IsToldOnceAndNothingBeginsNorIsWrittenInItsPlace) {
    const auto program = waitingDispatcher();
    fs::remove_all(home());
    ASSERT_TRUE(program->says(alert)) << program->output();
    EXPECT_THAT(program->output(), HasSubstr(remedy));
    const std::string bugID = reportClearBugNow();
    fs::create_directories(home());
    stop(*program);
    EXPECT_EQ(timesSaid(*program, alert), 1);
    EXPECT_EQ(timesSaid(*program, bugID), 0);
    EXPECT_TRUE(fs::is_empty(home()));
}

TEST_F(LostHomeTest, ThatIsAnotherOwnersByNowIsLeftToThatOne) {
    const auto program = waitingDispatcher();
    fs::rename(home(), repository.scratch("moved"));
    mapApp();
    ASSERT_TRUE(program->says(alert)) << program->output();
    const auto other = start(runWith());
    const std::string bugID = reportClearBugNow();
    EXPECT_TRUE(other->says(bugID + "  completed: ")) << other->output() << other->errorText();
    EXPECT_EQ(timesSaid(*program, bugID), 0);
    stop(*other);
    stop(*program);
}

TEST_F(LostHomeTest, ThatIsPutBackIsWorkedOnAgain) {
    const auto program = waitingDispatcher();
    fs::rename(home(), repository.scratch("moved"));
    ASSERT_TRUE(program->says(alert)) << program->output();
    fs::rename(repository.scratch("moved"), home());
    EXPECT_TRUE(program->says("The dispatch home is back in its place.")) << program->output();
    const std::string bugID = reportClearBugNow();
    EXPECT_TRUE(program->says(bugID + "  completed: ")) << program->output();
    stop(*program);
}

TEST_F(LostHomeTest, EndsARunOnce) {
    const std::string bugID = reportClearBugNow();
    agentDoes(bugID, "idle");
    const auto program = start(runWith({"--once"}));
    ASSERT_TRUE(program->says(bugID + "  typed: ")) << program->output() << program->errorText();
    fs::remove_all(home());
    EXPECT_EQ(program->exitCode(), 1);
    EXPECT_THAT(program->errorText(), HasSubstr(alert));
}

}  // namespace
}  // namespace quernlight
