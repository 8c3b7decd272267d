#include <algorithm>

#include <sys/stat.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// What is wrong from the start is told in one line on standard error that says what to do.
class RunBadInputTest : public test::DispatchFixture {
  protected:
    /// The one line without the program's name.
    static std::string complaint(const test::Outcome& outcome) {
        EXPECT_EQ(outcome.exitCode, 1) << outcome.output;
        EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1) << outcome.error;
        EXPECT_THAT(outcome.error, StartsWith("quernlight-dispatch: "));
        return outcome.error.substr(outcome.error.find(' ') + 1);
    }
    void useToken(const std::string& text) { test::writeFile(tokenFile(), text); }
};

TEST_F(RunBadInputTest, AWrongTokenIsRefusedWithoutBeingPrinted) {
    startBackend();
    useToken("a-wrong-secret");
    for (const auto& arguments : {runWith({"--once"}), runWith(), runWith({"--dry-run"})}) {
        const auto outcome = dispatch(arguments);
        EXPECT_THAT(complaint(outcome), StartsWith("The backend at http://127.0.0.1:"));
        EXPECT_THAT(outcome.error,
                    HasSubstr("refuses the token (HTTP 401); put a valid one where it is kept, which "
                              "is told by: quernlight-dispatch token status\n"));
        EXPECT_THAT(outcome.output + outcome.error, Not(HasSubstr("a-wrong-secret")));
    }
}

TEST_F(RunBadInputTest, ABackendThatCannotBeReachedEndsARunOnceAndTheQueueIsKept) {
    reportClearBug("3f2a9c1d");
    startBackend();
    runOnce();
    stopBackend();
    EXPECT_THAT(complaint(runOnce()), HasSubstr("Check the address and that it runs."));
    EXPECT_EQ(status("3f2a9c1d"), "waitingForMapping");
}

TEST_F(RunBadInputTest, ABackendThatAnswersNonsenseEndsARunOnce) {
    startBackend({"--fault", R"({"kind": "malformed_json"})"});
    EXPECT_THAT(complaint(runOnce()), HasSubstr("cannot be asked for bugs"));
}

TEST_F(RunBadInputTest, ABackendThatIsNoAddressIsRefused) {
    auto arguments = runWith({"--once"});
    arguments[2] = "bugs.example";
    EXPECT_EQ(complaint(dispatch(arguments)),
              "The backend \"bugs.example\" is not a valid URL; give one like https://bugs.example.\n");
}

TEST_F(RunBadInputTest, WithoutTheAgentOnThePathNothingIsStarted) {
    reportClearBug("3f2a9c1d");
    environment["PATH"] = "/usr/bin:/bin";
    startBackend();
    EXPECT_EQ(complaint(runOnce()),
              "There is no program \"codex\" on PATH; install the agent, or put its directory on PATH.\n");
}

TEST_F(RunBadInputTest, AMissingTokenFileIsNamed) {
    std::filesystem::remove(tokenFile());
    EXPECT_EQ(complaint(runOnce()), "The token file " + tokenFile().string() +
                                        " cannot be read; write the administrator token into it.\n");
}

TEST_F(RunBadInputTest, ATildeThatTheShellHasLeftIsTheUsersHomeForEveryPath) {
    startBackend();
    const auto user = tokenFile().parent_path();
    auto words = runWith({"--once", "--log-file=~/run.log"});
    words[4] = "~/" + tokenFile().filename().string();
    words[6] = "~/bugs";
    EXPECT_EQ(dispatch(words).exitCode, 0);
    EXPECT_TRUE(std::filesystem::exists(user / "run.log"));
    EXPECT_TRUE(std::filesystem::exists(user / "bugs/queue.sqlite"));
}

TEST_F(RunBadInputTest, AQueueThatIsNoRegularFileIsRefusedWithoutWaiting) {
    std::filesystem::create_directories(home());
    ASSERT_EQ(mkfifo(queueFile().c_str(), 0600), 0);
    startBackend();
    EXPECT_EQ(complaint(runOnce()),
              "The queue in " + queueFile() + " is no regular file; choose another home with --home.\n");
}

TEST_F(RunBadInputTest, AHomeThatCannotBeMadeIsNamed) {
    test::writeFile(home(), "a file in the way");
    startBackend();
    EXPECT_THAT(complaint(runOnce()), HasSubstr("The dispatch home " + home().string()));
    EXPECT_THAT(complaint(dispatch(mapWith({"--repo", repository.directory()}))),
                HasSubstr("choose another with --home"));
}

TEST_F(RunBadInputTest, AQueueThatIsNoDatabaseIsNamedAndLeftAsItIs) {
    test::writeFile(queueFile(), std::string(4096, 'x'));
    startBackend();
    EXPECT_THAT(complaint(runOnce()), StartsWith("The queue in " + queueFile() + " cannot be used: "));
    EXPECT_EQ(test::readFile(queueFile()), std::string(4096, 'x'));
}

TEST_F(RunBadInputTest, ALogFilesDirectoryIsNotMade) {
    startBackend();
    EXPECT_THAT(complaint(runOnce({"--log-file", repository.scratch("none/log")})),
                HasSubstr("none/log cannot be written (No such file or directory); choose another with "));
    EXPECT_FALSE(std::filesystem::exists(repository.scratch("none")));
}

}  // namespace
}  // namespace quernlight
