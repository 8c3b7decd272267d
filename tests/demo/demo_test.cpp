#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/file_descriptor.hpp"
#include "tests/host/dispatch_fixture.hpp"
#include "tests/host/terminal_bytes.hpp"

namespace quernlight {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// The demo; all that it makes lies in a temporary directory of the test's, which its processes carry in
/// their environment.
class DemoTest : public test::DispatchFixture {
  protected:
    DemoTest() { executable = DEMO_PATH; }

    std::vector<pid_t> processesLeft() const {
        return test::processesWithEnvironment("TMPDIR=" + temporary().string());
    }
    bool leftFiles() const { return !std::filesystem::is_empty(temporary()); }

    /// All that the demo draws on a terminal, to its end.
    std::string drawnOnATerminal() {
        const FileDescriptor master(posix_openpt(O_RDWR | O_NOCTTY));
        EXPECT_TRUE(grantpt(master.get()) == 0 && unlockpt(master.get()) == 0);
        test::DispatchProcess demo({.program = executable,
                                    .environment = environment,
                                    .output = repository.scratch("demo"),
                                    .terminal = ptsname(master.get())});
        std::string drawn;
        for (std::string bytes = test::nextBytes(master); !bytes.empty(); bytes = test::nextBytes(master)) {
            drawn += bytes;
        }
        EXPECT_EQ(demo.exitCode(), 0) << drawn;
        return drawn;
    }
};

TEST_F(DemoTest, ThreeBugsRunEndToEndAndNothingStaysBehind) {
    const auto outcome = dispatch({});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output << outcome.error;
    EXPECT_THAT(outcome.output, HasSubstr("\n7c41e0ab  in review           Notes-7c41e0ab"));
    EXPECT_THAT(outcome.output, HasSubstr("\n2e9b6d14  in review           Notes-2e9b6d14"));
    EXPECT_THAT(outcome.output, HasSubstr("\nb05d83f7  needs reply         -"));
    EXPECT_THAT(outcome.output, HasSubstr("All checks passed.\n"));
    EXPECT_EQ(outcome.error, "");
    EXPECT_THAT(processesLeft(), IsEmpty());
    EXPECT_FALSE(leftFiles());
}

TEST_F(DemoTest, TheCallersHomeStaysAsItIs) {
    const auto places = repository.scratch("the-callers");
    for (const char* name :
         {"HOME", "CODEX_HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME"}) {
        std::filesystem::create_directories(places / name);
        environment[name] = places / name;
    }
    const auto outcome = dispatch({});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output << outcome.error;
    for (const auto& place : std::filesystem::directory_iterator(places)) {
        EXPECT_TRUE(std::filesystem::is_empty(place)) << place.path();
    }
}

TEST_F(DemoTest, OnATerminalItDrawsAPictureWhoseLastStays) {
    const std::string drawn = drawnOnATerminal();
    const std::string left = drawn.substr(std::min(drawn.find("\x1b[?1049l"), drawn.size()));
    EXPECT_THAT(left, HasSubstr(" ? b05d83f7 It does not work"));
    EXPECT_THAT(left, HasSubstr(" ✓ 7c41e0ab"));
    EXPECT_THAT(left, HasSubstr(" ✓ 2e9b6d14"));
    EXPECT_THAT(drawn, Not(HasSubstr("  typed: ")));
}

TEST_F(DemoTest, ControlCLeavesNoProcessAndNoFile) {
    const auto demo = start({});
    ASSERT_TRUE(demo->says("  typed: ")) << demo->errorText();
    demo->signal(SIGINT);
    EXPECT_EQ(demo->exitCode(), 130) << demo->output() << demo->errorText();
    EXPECT_THAT(processesLeft(), IsEmpty());
    EXPECT_FALSE(leftFiles());
}

TEST_F(DemoTest, ControlCBeforeTheFirstSessionLeavesNoProcessAndNoFile) {
    const auto demo = start({});
    const auto repositoryIsMade = [&] {
        for (const auto& made : std::filesystem::directory_iterator(temporary())) {
            return std::filesystem::exists(made.path() / "home/.gitconfig");
        }
        return false;
    };
    EXPECT_TRUE(test::eventually(repositoryIsMade));
    demo->signal(SIGINT);
    EXPECT_EQ(demo->exitCode(), 130) << demo->output() << demo->errorText();
    EXPECT_THAT(processesLeft(), IsEmpty());
    EXPECT_FALSE(leftFiles());
}

TEST_F(DemoTest, ControlCAsSoonAsItsDirectoryIsThereLeavesNoFile) {
    const auto demo = start({});
    EXPECT_TRUE(test::eventually([&] {
        for (int look = 0; look < 1000 && !leftFiles(); ++look) {
        }
        return leftFiles();
    }));
    demo->signal(SIGINT);
    EXPECT_EQ(demo->exitCode(), 130);
    EXPECT_FALSE(leftFiles());
}

TEST_F(DemoTest, ControlCAfterTheResultIsPrintedLeavesNoFile) {
    const auto demo = start({});
    ASSERT_TRUE(demo->says("All checks passed."));
    demo->signal(SIGINT);
    demo->exitCode();
    EXPECT_FALSE(leftFiles());
}

TEST_F(DemoTest, WithKeepEverythingStaysInTheDirectoryThatWasChosen) {
    const auto chosen = repository.scratch("kept");
    const auto outcome = dispatch({"--home", chosen, "--keep"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output << outcome.error;
    EXPECT_THAT(outcome.output, HasSubstr("Everything is in " + chosen.string() + "\n"));
    for (const char* kept : {"dispatch/queue.sqlite", "notes/README.md", "backend.json"}) {
        EXPECT_TRUE(std::filesystem::exists(chosen / kept)) << kept;
    }
    EXPECT_FALSE(leftFiles());
}

TEST_F(DemoTest, WhatWasThereBeforeStaysAndWhatTheDemoMadeGoes) {
    const auto mine = repository.scratch("mine");
    std::filesystem::create_directories(mine);
    const auto demo = start({"--home", mine});
    ASSERT_TRUE(demo->says("  typed: ")) << demo->errorText();
    test::writeFile(mine / "letter", "Dear ...");
    demo->signal(SIGINT);
    EXPECT_EQ(demo->exitCode(), 130);
    EXPECT_EQ(test::readFile(mine / "letter"), "Dear ...");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(mine), {}), 1);
}

TEST_F(DemoTest, ADirectoryThatTheDemoMadeGoesWithIt) {
    const auto demo = start({"--home", repository.scratch("new")});
    ASSERT_TRUE(demo->says("  typed: ")) << demo->errorText();
    demo->signal(SIGINT);
    demo->exitCode();
    EXPECT_FALSE(std::filesystem::exists(repository.scratch("new")));
}

TEST_F(DemoTest, ADirectoryThatHoldsSomethingIsRefusedAndLeftAsItIs) {
    test::writeFile(repository.scratch("mine") / "letter", "Dear ...");
    const auto outcome = dispatch({"--home", repository.scratch("mine")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, HasSubstr("The demo needs a new or empty directory"));
    EXPECT_EQ(test::readFile(repository.scratch("mine") / "letter"), "Dear ...");
}

}  // namespace
}  // namespace quernlight
