#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

/// The demo; all that it makes lies in a temporary directory of the test's, which its processes carry in
/// their environment.
class DemoCommandTest : public test::DispatchFixture {
  protected:
    std::vector<pid_t> processesLeft() const {
        return test::processesWithEnvironment("TMPDIR=" + temporary().string());
    }
    bool leftFiles() const { return !std::filesystem::is_empty(temporary()); }
};

TEST_F(DemoCommandTest, ThreeBugsTravelTheWholeRoadAndNothingStaysBehind) {
    const auto outcome = dispatch({"demo"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output << outcome.error;
    EXPECT_THAT(outcome.output, HasSubstr("\n7c41e0ab  completed           Notes-7c41e0ab"));
    EXPECT_THAT(outcome.output, HasSubstr("\n2e9b6d14  completed           Notes-2e9b6d14"));
    EXPECT_THAT(outcome.output, HasSubstr("\nb05d83f7  awaitingUserInput   -"));
    EXPECT_THAT(outcome.output, HasSubstr("The database, git and the backend hold what they should.\n"));
    EXPECT_EQ(outcome.error, "");
    EXPECT_THAT(processesLeft(), IsEmpty());
    EXPECT_FALSE(leftFiles());
}

TEST_F(DemoCommandTest, ControlCLeavesNoProcessAndNoFile) {
    const auto program = start({"demo"});
    ASSERT_TRUE(program->says("  typed: ")) << program->errorText();
    program->signal(SIGINT);
    EXPECT_EQ(program->exitCode(), 130) << program->output() << program->errorText();
    EXPECT_THAT(processesLeft(), IsEmpty());
    EXPECT_FALSE(leftFiles());
}

TEST_F(DemoCommandTest, ControlCBeforeTheFirstSessionLeavesNoProcessAndNoFile) {
    const auto program = start({"demo"});
    const auto repositoryIsMade = [&] {
        for (const auto& demo : std::filesystem::directory_iterator(temporary())) {
            return std::filesystem::exists(demo.path() / "home/.gitconfig");
        }
        return false;
    };
    EXPECT_TRUE(test::eventually(repositoryIsMade));
    program->signal(SIGINT);
    EXPECT_EQ(program->exitCode(), 130) << program->output() << program->errorText();
    EXPECT_THAT(processesLeft(), IsEmpty());
    EXPECT_FALSE(leftFiles());
}

TEST_F(DemoCommandTest, ControlCAsSoonAsItsDirectoryIsThereLeavesNoFile) {
    const auto program = start({"demo"});
    EXPECT_TRUE(test::eventually([&] {
        for (int look = 0; look < 1000 && !leftFiles(); ++look) {
        }
        return leftFiles();
    }));
    program->signal(SIGINT);
    EXPECT_EQ(program->exitCode(), 130);
    EXPECT_FALSE(leftFiles());
}

TEST_F(DemoCommandTest, ControlCAfterTheResultIsPrintedLeavesNoFile) {
    const auto program = start({"demo"});
    ASSERT_TRUE(program->says("The database, git and the backend hold what they should."));
    program->signal(SIGINT);
    program->exitCode();
    EXPECT_FALSE(leftFiles());
}

TEST_F(DemoCommandTest, WithKeepEverythingStaysInTheDirectoryThatWasChosen) {
    const auto chosen = repository.scratch("kept");
    const auto outcome = dispatch({"demo", "--home", chosen, "--keep"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output << outcome.error;
    EXPECT_THAT(outcome.output, HasSubstr("Everything is in " + chosen.string() + "\n"));
    for (const char* kept : {"dispatch/queue.sqlite", "notes/README.md", "backend.json"}) {
        EXPECT_TRUE(std::filesystem::exists(chosen / kept)) << kept;
    }
    EXPECT_FALSE(leftFiles());
}

TEST_F(DemoCommandTest, ADirectoryThatHoldsSomethingIsRefusedAndLeftAsItIs) {
    test::writeFile(repository.scratch("mine") / "letter", "Dear ...");
    const auto outcome = dispatch({"demo", "--home", repository.scratch("mine")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, HasSubstr("The demo needs a new or empty directory"));
    EXPECT_EQ(test::readFile(repository.scratch("mine") / "letter"), "Dear ...");
}

}  // namespace
}  // namespace quernlight
