#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"
#include "tests/host/tmux.hpp"

namespace quernlight {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// `run`, typed into a shell on a terminal.
class TerminalRunTest : public test::DispatchFixture {
  protected:
    TerminalRunTest() { std::filesystem::create_directories(temporary()); }

    void work(const std::string& behaviour) {
        reportClearBug("3f2a9c1d");
        agentDoes("3f2a9c1d", behaviour);
        mapApp();
        startRun();
    }
    void startRun() {
        startBackend();
        terminal = std::make_unique<test::Tmux>(temporary(), environment);
        std::string line = executable.string();
        for (const std::string& word : runWith()) {
            line += " " + word;
        }
        terminal->enter("clear; " + line + "; echo status $?");
    }
    void isAShellAgain() { EXPECT_EQ(terminal->settingsInShell(), test::Tmux::usualSettings); }

    /// Until the shell says how it has ended.
    std::string screenAfter(const std::string& key) {
        terminal->press(key);
        EXPECT_TRUE(terminal->shows("status ")) << terminal->screen();
        return terminal->screen();
    }

    std::unique_ptr<test::Tmux> terminal;
};

TEST_F(TerminalRunTest, ControlCStopsItAndWhatWasToldLastStays) {
    report("3f2a9c1d", "Crash on launch");
    startRun();
    ASSERT_TRUE(terminal->shows("NEEDS YOU (1)")) << terminal->screen();
    EXPECT_EQ(terminal->state("#{alternate_on}"), "1");
    EXPECT_THAT(
        screenAfter("C-c"),
        AllOf(HasSubstr("Stopping sessions; Ctrl-C or SIGTERM once more kills them."),
              HasSubstr("3f2a9c1d Crash on launch"), HasSubstr("status 130"), Not(HasSubstr("? help"))));
    isAShellAgain();
}

TEST_F(TerminalRunTest, LeavingAsksAndStopsItInOrder) {
    work("idle");
    ASSERT_TRUE(terminal->shows("1/2 agents")) << terminal->screen();
    terminal->press("q");
    ASSERT_TRUE(terminal->shows("Stop it? [y/N]")) << terminal->screen();
    terminal->press("n");
    ASSERT_TRUE(terminal->shows("Nothing was done.")) << terminal->screen();
    terminal->press("q");
    ASSERT_TRUE(terminal->shows("Stop it? [y/N]")) << terminal->screen();
    EXPECT_THAT(screenAfter("y"), HasSubstr("Stopping sessions"));
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    isAShellAgain();
}

TEST_F(TerminalRunTest, ControlZGivesTheTerminalBackAndItGoesOnInTheForeground) {
    report("3f2a9c1d", "Crash on launch");
    startRun();
    ASSERT_TRUE(terminal->shows("NEEDS YOU (1)")) << terminal->screen();
    terminal->press("C-z");
    isAShellAgain();
    terminal->enter("fg");
    ASSERT_TRUE(terminal->shows("NEEDS YOU (1)")) << terminal->screen();
    terminal->press("C-c");
    isAShellAgain();
}

TEST_F(TerminalRunTest, ASignalThatEndsTheProgramAtOnceLeavesTheTerminalAsItWas) {
    report("3f2a9c1d", "Crash on launch");
    startRun();
    ASSERT_TRUE(terminal->shows("NEEDS YOU (1)")) << terminal->screen();
    terminal->press("C-'\\'");
    isAShellAgain();
}

TEST_F(TerminalRunTest, APersonGoesIntoAnAgentsTerminalAndComesBack) {
    work("full-screen");
    ASSERT_TRUE(terminal->shows("RUNNING (1)")) << terminal->screen();
    ASSERT_TRUE(terminal->shows(" Full screen ")) << terminal->screen();
    terminal->press("Enter");
    ASSERT_TRUE(terminal->showsOnceTyped("z", "keys: z")) << terminal->screen();
    EXPECT_THAT(terminal->screen(), Not(HasSubstr("RUNNING")));
    terminal->press("C-]");
    EXPECT_TRUE(terminal->shows("its session goes on.")) << terminal->screen();
    EXPECT_THAT(terminal->screen(), HasSubstr("RUNNING (1)"));
    terminal->press("C-c");
    terminal->press("C-c");
    isAShellAgain();
}

TEST_F(TerminalRunTest, AnAgentThatHasCrashedIsShownAsThatWhileItsCommentIsWaitedFor) {
    work("crash");
    EXPECT_TRUE(terminal->shows("ended by SIGSEGV")) << terminal->screen();
    EXPECT_THAT(terminal->screen(), HasSubstr("· 3f2a9c1d"));
    terminal->press("C-c");
    isAShellAgain();
}

}  // namespace
}  // namespace quernlight
