#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

class DryRunTest : public test::DispatchFixture {
  protected:
    test::Outcome dryRun(const std::vector<std::string>& more = {}) {
        auto arguments = runWith({"--dry-run"});
        arguments.insert(arguments.end(), more.begin(), more.end());
        return dispatch(arguments);
    }
    void wantMemory(const std::string& mebibytes) {
        dispatch({"config", "set", "sessions.memory_floor_mib", mebibytes, "--home", home()});
    }
    /// Every file of the home with a hash of its bytes.
    std::map<std::string, std::size_t> homeContent() const {
        std::map<std::string, std::size_t> content;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(home())) {
            content[entry.path()] =
                std::hash<std::string>()(entry.is_regular_file() ? test::readFile(entry) : "");
        }
        return content;
    }
};

TEST_F(DryRunTest, ItDoesNotEvenMakeTheHome) {
    reportClearBug("3f2a9c1d");
    startBackend();
    const auto outcome = dryRun();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.output,
              "would enqueue  3f2a9c1d  Shop: Crash on launch\n"
              "would wait     3f2a9c1d  Shop: Crash on launch (no mapping for com.acme.shop; "
              "add one with: quernlight-dispatch map set)\n"
              "Nothing was changed.\n");
    EXPECT_FALSE(std::filesystem::exists(home()));
    EXPECT_TRUE(std::filesystem::is_empty(temporary()));
}

TEST_F(DryRunTest, AnErrorsBodyIsOneShortLineInWhichNothingActs) {
    startBackend();
    backendFaults(R"([{"kind":"status","status":500,"body":"\u001b[2Jno\n)" + std::string(1 << 20, 'x') +
                  R"("}])");
    const auto outcome = dryRun();
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, HasSubstr(R"(The backend returned HTTP 500: \x1b[2Jno\nxxx)"));
    EXPECT_THAT(outcome.error, HasSubstr("x… Check the address"));
    EXPECT_LT(outcome.error.size(), 600U);
    EXPECT_EQ(outcome.error.find('\n'), outcome.error.size() - 1);
}

TEST_F(DryRunTest, ATitleMovesNoCursorAndIsShownInPart) {
    report("3f2a9c1d", "\x1b[2J\u202e" + std::string(1 << 20, 'x'));
    startBackend();
    const auto outcome = dryRun();
    EXPECT_THAT(outcome.output, HasSubstr(R"(would enqueue  3f2a9c1d  Shop: \x1b[2J\u202exxx)"));
    EXPECT_LT(outcome.output.size(), 2000U);
}

TEST_F(DryRunTest, ItTellsTheStartsInOrderUpToThePlaces) {
    report("33333333", "Third");
    report("22222222", "Second");
    report("11111111", "First");
    mapApp();
    startBackend();
    wantMemory("0");
    EXPECT_THAT(dryRun({"--max-sessions", "1"}).output,
                HasSubstr("would start    33333333  Shop: Third\n"
                          "would wait     22222222  Shop: Second (1 of 1 "
                          "sessions run)\n"));
}

TEST_F(DryRunTest, ItTellsThatMemoryIsTooShortForAStart) {
    reportClearBug("3f2a9c1d");
    mapApp();
    startBackend();
    wantMemory("1048576");
    EXPECT_THAT(dryRun().output,
                ContainsRegex(
                    R"(would wait     3f2a9c1d  Shop: Crash on launch \([0-9]+ MiB free, 1048576 wanted\))"));
}

TEST_F(DryRunTest, ItTellsThatThereIsNoAgent) {
    reportClearBug("3f2a9c1d");
    mapApp();
    startBackend();
    environment["PATH"] = "/usr/bin:/bin";
    EXPECT_THAT(dryRun().output, HasSubstr("(There is no program \"codex\" on PATH; install the agent, "));
}

TEST_F(DryRunTest, ItTellsThatARepositoryOrThePlaceOfItsWorktreesCannotBeUsed) {
    reportClearBug("3f2a9c1d");
    mapApp();
    startBackend();
    wantMemory("0");
    test::writeFile(repository.directory().string() + "-worktrees", "");
    EXPECT_THAT(dryRun().output,
                HasSubstr("-worktrees cannot be made (Not a directory); make room for it, "));
    std::filesystem::rename(repository.directory(), repository.scratch("away"));
    EXPECT_THAT(dryRun().output, HasSubstr(" cannot be used (No such file or directory); bring it back, "));
}

TEST_F(DryRunTest, ABugWhoseIdCannotNameABranchIsNamed) {
    report("a b/../c", "Crash");
    startBackend();
    EXPECT_THAT(dryRun().output,
                HasSubstr("A bug is left out because its id cannot name a branch: \"a b/../c-"));
}

TEST_F(DryRunTest, AHomeThatIsThereKeepsEveryByteOfTheQueue) {
    reportClearBug("3f2a9c1d");
    mapApp();
    startBackend();
    const std::string before = test::readFile(queueFile());
    EXPECT_EQ(dryRun().exitCode, 0);
    EXPECT_TRUE(test::readFile(queueFile()) == before);
    EXPECT_EQ(status("3f2a9c1d"), "no such row");
}

TEST_F(DryRunTest, AHomeThatIsThereGetsNoNewFileEither) {
    mapApp();
    startBackend();
    const auto before = homeContent();
    EXPECT_EQ(dryRun().exitCode, 0);
    EXPECT_EQ(homeContent(), before);
}

}  // namespace
}  // namespace quernlight
