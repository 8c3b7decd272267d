#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/blocking_script.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using test::isAlive;

/// Commands that look at pull requests where no dispatcher runs, and a remote that never answers.
class ReviewStopTest : public test::DispatchFixture, public testing::WithParamInterface<const char*> {
  protected:
    void letTheRemoteHang() { repository.git({"config", "core.sshCommand", transport.path()}); }
    void letTheRemoteAnswer() { repository.git({"config", "--unset", "core.sshCommand"}); }
    std::vector<std::string> words() {
        std::vector<std::string> words{"review",    "reap",    "--home",       home(),
                                       "--backend", address(), "--token-file", tokenFile()};
        if (GetParam() == std::string("list")) {
            words[1] = "list";
        } else if (GetParam() == std::string("plan")) {
            words.emplace_back("--dry-run");
        }
        return words;
    }

    const test::BlockingScript transport{repository.scratch("block")};
};

TEST_P(ReviewStopTest, ASignalEndsThemAndTheFetchThatTheyWaitFor) {
    reportClearBug("3f2a9c1d");
    workAll();
    letTheRemoteHang();
    const auto command = start(words());
    ASSERT_GT(transport.pid(), 0) << command->output() << command->errorText();
    command->signal(SIGINT);
    EXPECT_EQ(command->exitCode(), 130) << command->output() << command->errorText();
    EXPECT_FALSE(isAlive(transport.pid()));
}

TEST_P(ReviewStopTest, TheyEndTheGitsOfAKilledOwnerFirst) {
    mapApp();
    letTheRemoteHang();
    reportClearBug("3f2a9c1d");
    startBackend();
    const auto owner = start(runWith());
    ASSERT_GT(transport.pid(), 0) << owner->output() << owner->errorText();
    owner->signal(SIGKILL);
    owner->exitCode();
    ASSERT_TRUE(isAlive(transport.pid()));
    letTheRemoteAnswer();
    const auto outcome = dispatch(words());
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output << outcome.error;
    EXPECT_FALSE(isAlive(transport.pid()));
}

INSTANTIATE_TEST_SUITE_P(All, ReviewStopTest, testing::Values("list", "plan", "reap"),
                         [](const auto& row) { return std::string("Of") + row.param; });

}  // namespace
}  // namespace quernlight
