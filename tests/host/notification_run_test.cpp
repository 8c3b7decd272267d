#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// `run` with a command that people are notified by.
class NotificationRunTest : public test::DispatchFixture {
  protected:
    NotificationRunTest() {
        test::writeFile(script(), "#!/bin/sh\ncat >> \"$0.told\"\nenv >> \"$0.environment\"\n");
        std::filesystem::permissions(script(), std::filesystem::perms::owner_all);
        dispatch({"config", "set", "notify.command", "\"" + script().string() + "\"", "--home", home()});
    }
    std::filesystem::path script() const { return repository.scratch("notify"); }
    std::string written(const char* suffix) const { return test::readFile(script().string() + suffix); }
};

TEST_F(NotificationRunTest, ACompletedBugIsToldOnceAndNotAgainByTheNextRun) {
    environment["BACKEND_PASSWORD"] = "hidden";
    reportClearBug("3f2a9c1d");
    EXPECT_EQ(workAll().exitCode, 0);
    EXPECT_EQ(runOnce().exitCode, 0);
    const std::string told = written(".told");
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1);
    EXPECT_THAT(told, AllOf(HasSubstr(R"("event":"completed","bug":"3f2a9c1d","app":"Shop",)"
                                      R"("title":"Crash on launch")"),
                            HasSubstr(R"("home":")" + home().string() + '"')));
    EXPECT_THAT(told + written(".environment"), AllOf(Not(HasSubstr(token)), Not(HasSubstr("hidden"))));
}

TEST_F(NotificationRunTest, ABugWithoutARepositoryNeedsYouOnce) {
    report("77777777", "It does not work");
    startBackend();
    runOnce();
    runOnce();
    const std::string told = written(".told");
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1);
    EXPECT_THAT(told, HasSubstr(R"("event":"needs-you","bug":"77777777")"));
}

TEST_F(NotificationRunTest, ARunThatTriesNothingTwiceTellsThatStartsPause) {
    reportClearBug("3f2a9c1d");
    std::filesystem::rename(repository.bare(), repository.scratch("away"));
    EXPECT_EQ(workAll().exitCode, 1);
    const std::string told = written(".told");
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1);
    EXPECT_THAT(told, AllOf(HasSubstr(R"("event":"paused","bug":null)"),
                            HasSubstr("1 bug could not be started: git fetch fails in ")));
}

}  // namespace
}  // namespace quernlight
