#include <cctype>
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"
#include "tests/host/process_table.hpp"
#include "tests/host/tmux.hpp"
#include "tests/support/temporary_directory.hpp"

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
    /// Whose process the test knows.
    void startRun(const std::string& before = "", const std::string& end = ";",
                  const std::vector<std::string>& more = {}) {
        startBackend();
        terminal = std::make_unique<test::Tmux>(temporary(), environment);
        std::string line = executable.string();
        for (const std::string& word : runWith(more)) {
            line += " " + word;
        }
        terminal->enter("clear; " + before + "sh -c \"echo \\$\\$ >" + pidFile() + "; exec " + line + "\"" +
                        end + " echo status $?");
    }
    std::string pidFile() const { return (temporary() / "run.pid").string(); }
    pid_t program() const { return static_cast<pid_t>(std::stol(test::readFile(pidFile()))); }
    bool hasEnded() const {
        return test::eventually([&] { return !test::isAlive(program()); });
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

TEST_F(TerminalRunTest, AnEndInTheBackgroundLeavesWhatWasToldLastOnTheTerminal) {
    report("3f2a9c1d", "Crash on launch");
    startRun();
    ASSERT_TRUE(terminal->shows("NEEDS YOU (1)")) << terminal->screen();
    terminal->press("C-z");
    isAShellAgain();
    terminal->enter("clear; bg; kill %1");
    EXPECT_TRUE(terminal->shows("Stopping sessions;")) << terminal->screen();
    EXPECT_TRUE(terminal->shows("! 3f2a9c1d Crash on launch")) << terminal->screen();
    EXPECT_TRUE(hasEnded());
    isAShellAgain();
}

TEST_F(TerminalRunTest, AHangUpStopsItInOrder) {
    work("idle");
    ASSERT_TRUE(terminal->shows("1/2 agents")) << terminal->screen();
    ASSERT_TRUE(test::eventually([&] { return std::isdigit(attempt("3f2a9c1d", "pid")[0]) != 0; }));
    terminal->close();
    EXPECT_TRUE(hasEnded());
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    EXPECT_FALSE(test::isAlive(agent("3f2a9c1d")));
}

TEST_F(TerminalRunTest, AHangUpStopsItInOrderWhileAPersonIsAtAnAgentsTerminal) {
    work("full-screen");
    ASSERT_TRUE(terminal->shows(" Full screen ")) << terminal->screen();
    terminal->press("Enter");
    ASSERT_TRUE(terminal->showsOnceTyped("z", "keys: z")) << terminal->screen();
    terminal->close();
    EXPECT_TRUE(hasEnded());
    EXPECT_EQ(status("3f2a9c1d"), "queued");
}

/// Of another session it is not told that its terminal has gone.
TEST_F(TerminalRunTest, WithoutItsTerminalItGoesOnUntilItIsStopped) {
    report("3f2a9c1d", "Crash on launch");
    startRun("setsid -w ");
    ASSERT_TRUE(terminal->shows("NEEDS YOU (1)")) << terminal->screen();
    terminal->close();
    mapApp();
    const std::string bugID = reportClearBugNow();
    EXPECT_TRUE(test::eventually([&] { return status(bugID) == "completed"; })) << status(bugID);
    kill(program(), SIGTERM);
    EXPECT_TRUE(hasEnded());
}

TEST_F(TerminalRunTest, InTheBackgroundItOutlivesItsTerminal) {
    report("3f2a9c1d", "Crash on launch");
    const std::filesystem::path log = repository.scratch("log");
    startRun("", ";", {"--log-file", log});
    ASSERT_TRUE(terminal->shows("NEEDS YOU (1)")) << terminal->screen();
    terminal->press("C-z");
    isAShellAgain();
    terminal->enter("bg; disown -a; echo it is on its own");
    ASSERT_TRUE(terminal->shows("it is on its own")) << terminal->screen();
    terminal->close();
    EXPECT_TRUE(test::eventually([&] {
        return test::readFile(log).find("has gone, so nothing is shown there any more.") != std::string::npos;
    })) << test::readFile(log);
    EXPECT_TRUE(test::isAlive(program()));
    kill(program(), SIGTERM);
    EXPECT_TRUE(hasEnded());
}

/// What is told of the other orphan, which came later, shows that its time has passed.
TEST_F(TerminalRunTest, ABrowserThatWasOpenedIsNothingThatWasLeftBehind) {
    const std::filesystem::path browser = repository.scratch("webbrowser"),
                                opened = repository.scratch("opened");
    test::writeFile(browser, "#!/bin/sh\necho $$ >" + opened.string() + "\nwhile test -e " + opened.string() +
                                 "; do sleep 0.1; done\n");
    const auto hook = repository.directory() / ".git/hooks/post-checkout";
    test::writeFile(hook, "#!/bin/sh\n(cd /; env -i setsid sleep 60 > /dev/null 2>&1 &)\n");
    for (const auto& script : {browser, std::filesystem::path(hook)}) {
        std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    }
    environment["BROWSER"] = browser;
    report("3f2a9c1d", "Crash on launch");
    mapApp();
    startRun();
    ASSERT_TRUE(terminal->shows("NEEDS YOU (1)")) << terminal->screen();
    terminal->press("o");
    ASSERT_TRUE(test::eventually([&] { return std::filesystem::exists(opened); }));
    reportClearBugNow();
    EXPECT_TRUE(terminal->shows("(sleep) was left behind")) << terminal->screen();
    const std::string left = screenAfter("C-c");
    EXPECT_THAT(left, Not(HasSubstr("(webbrowser) was left behind")));
    std::filesystem::remove(opened);
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

TEST_F(TerminalRunTest, ControlZGivesTheTerminalBackAlsoAfterAnAttach) {
    work("full-screen");
    ASSERT_TRUE(terminal->shows(" Full screen ")) << terminal->screen();
    terminal->press("Enter");
    ASSERT_TRUE(terminal->showsOnceTyped("z", "keys: z")) << terminal->screen();
    terminal->press("C-]");
    ASSERT_TRUE(terminal->shows("its session goes on.")) << terminal->screen();
    terminal->press("C-z");
    isAShellAgain();
    terminal->enter("fg");
    ASSERT_TRUE(terminal->shows("RUNNING (1)")) << terminal->screen();
    terminal->press("C-c");
    terminal->press("C-c");
    isAShellAgain();
}

TEST_F(TerminalRunTest, InTheBackgroundItWorksAndLeavesTheTerminalToTheShell) {
    report("3f2a9c1d", "Crash on launch");
    mapApp();
    startRun("", "&");
    ASSERT_TRUE(terminal->shows("status 0")) << terminal->screen();
    isAShellAgain();
    EXPECT_TRUE(test::eventually([&] { return status("3f2a9c1d") == "awaitingUserInput"; }));
    isAShellAgain();
    terminal->enter("fg");
    EXPECT_TRUE(terminal->shows("NEEDS YOU (1)")) << terminal->screen();
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
