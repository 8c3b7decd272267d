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

/// A person's terminal in which `watch` is typed, beside an owner whose agent does what the test has chosen.
class WatchTest : public test::DispatchFixture {
  protected:
    WatchTest() { environment["BROWSER"] = repository.scratch("browser"); }
    ~WatchTest() override {
        if (owner) {
            owner->signal(SIGKILL);
        }
    }

    void startOwner() { owner = start(runWith()); }
    void work(const std::string& behaviour) {
        reportClearBug("11111111");
        agentDoes("11111111", behaviour);
        startBackend();
        mapApp();
        startOwner();
        ASSERT_TRUE(owner->says("11111111  goalAccepted: ")) << owner->output() << owner->errorText();
    }

    /// Whose process the test knows.
    std::string watch(const std::string& before = "") const {
        return before + "sh -c \"echo \\$\\$ >" + pidFile() + "; exec " + executable.string() +
               " watch --home " + home().string() + " --token-file " + tokenFile().string() + "\"";
    }
    std::string pidFile() const { return (temporary() / "client.pid").string(); }
    pid_t client() const { return static_cast<pid_t>(std::stol(test::readFile(pidFile()))); }

    static void isAShellAgain(test::Tmux& terminal) {
        EXPECT_EQ(terminal.settingsInShell(), test::Tmux::usualSettings);
    }
    static void leave(test::Tmux& terminal) {
        EXPECT_TRUE(terminal.holdsOnceTyped("q", [&] { return terminal.state("#{alternate_on}") == "0"; }));
        isAShellAgain(terminal);
    }

    std::unique_ptr<test::DispatchProcess> owner;
};

TEST_F(WatchTest, APersonGoesIntoAnAgentsTerminalAndComesBack) {
    work("full-screen");
    test::Tmux terminal(temporary(), environment);
    terminal.enter(watch());
    ASSERT_TRUE(terminal.shows("RUNNING (1)")) << terminal.screen();
    EXPECT_TRUE(terminal.shows(" Full screen ")) << "its pane shows the terminal\n" << terminal.screen();
    terminal.press("Enter");
    ASSERT_TRUE(terminal.showsOnceTyped("z", "keys: z")) << terminal.screen();
    EXPECT_THAT(terminal.screen(), Not(HasSubstr("RUNNING")));
    terminal.press("C-]");
    EXPECT_TRUE(terminal.shows("Left the terminal of bug 11111111; its session goes on."))
        << terminal.screen();
    EXPECT_THAT(terminal.screen(), HasSubstr("RUNNING (1)"));
    leave(terminal);
}

TEST_F(WatchTest, ItHasColoursUnlessThePersonWantsNone) {
    work("idle");
    test::Tmux terminal(temporary(), environment);
    terminal.enter(watch());
    ASSERT_TRUE(terminal.shows("RUNNING (1)")) << terminal.screen();
    EXPECT_THAT(terminal.colouredScreen(), HasSubstr("\x1b[1mRUNNING"));
    leave(terminal);
    terminal.enter("NO_COLOR=1 " + watch());
    ASSERT_TRUE(terminal.shows("RUNNING (1)")) << terminal.screen();
    EXPECT_THAT(terminal.colouredScreen(), Not(HasSubstr("\x1b[1m")));
    leave(terminal);
}

TEST_F(WatchTest, ItFollowsTheTerminalsSize) {
    work("idle");
    test::Tmux terminal(temporary(), environment);
    terminal.enter(watch());
    ASSERT_TRUE(terminal.shows("? help q leave")) << terminal.screen();
    terminal.resize(40, 9);
    EXPECT_TRUE(terminal.shows("1/2 agents")) << terminal.screen();
    terminal.resize(120, 35);
    EXPECT_TRUE(terminal.shows("? help q leave")) << terminal.screen();
    leave(terminal);
}

TEST_F(WatchTest, WhatABugsWorktreeHasChangedIsShown) {
    reportClearBug("11111111");
    ASSERT_EQ(workAll().exitCode, 0);
    test::Tmux terminal(temporary(), environment);
    terminal.enter(watch());
    ASSERT_TRUE(terminal.shows("REVIEW (1)")) << terminal.screen();
    terminal.press("d");
    EXPECT_TRUE(terminal.shows("1 file changed, 1 insertion")) << terminal.screen();
    leave(terminal);
}

TEST_F(WatchTest, TwoWatchAtOnce) {
    work("idle");
    test::Tmux first(temporary(), environment, "first"), second(temporary(), environment, "second", 100, 20);
    first.enter(watch());
    second.enter(watch());
    ASSERT_TRUE(first.shows("RUNNING (1)")) << first.screen();
    ASSERT_TRUE(second.shows("RUNNING (1)")) << second.screen();
    first.press("c");
    EXPECT_TRUE(first.shows("Cancel it? [y/N]")) << first.screen();
    first.press("y");
    EXPECT_TRUE(test::eventually([&] { return second.screen().find("RUNNING") == std::string::npos; }))
        << second.screen();
    leave(first);
    leave(second);
}

TEST_F(WatchTest, ItOutlivesItsOwnerAndFindsTheNextOne) {
    work("idle");
    test::Tmux terminal(temporary(), environment);
    terminal.enter(watch());
    ASSERT_TRUE(terminal.shows("1/2 agents")) << terminal.screen();
    owner->signal(SIGKILL);
    EXPECT_TRUE(terminal.shows("The dispatcher has ended; this is what is stored.")) << terminal.screen();
    EXPECT_THAT(terminal.screen(), AllOf(HasSubstr("no dispatcher runs"), HasSubstr("11111111")));
    owner->exitCode();
    startOwner();
    EXPECT_TRUE(terminal.shows("A dispatcher runs now.")) << terminal.screen();
    leave(terminal);
}

TEST_F(WatchTest, AQuestionIsAnsweredByKeys) {
    report("22222222", "It does not work");
    startBackend();
    mapApp();
    startOwner();
    test::Tmux terminal(temporary(), environment, "one", 120, 30);
    terminal.enter(watch());
    ASSERT_TRUE(terminal.shows("? 22222222 It does not work")) << terminal.screen();
    ASSERT_TRUE(terminal.showsOnceTyped("a", "Answer to 22222222: ")) << terminal.screen();
    terminal.press("C-u");
    terminal.type("Press it twice.");
    EXPECT_TRUE(terminal.shows("Press it twice.")) << terminal.screen();
    terminal.press("Enter");
    EXPECT_TRUE(terminal.shows("The answer is on bug 22222222")) << terminal.screen();
    EXPECT_TRUE(owner->says("22222222  retried: ")) << owner->output();
    leave(terminal);
}

TEST_F(WatchTest, ABugIsCancelledOnlyWhenThePersonSaysYes) {
    work("idle");
    test::Tmux terminal(temporary(), environment);
    terminal.enter(watch());
    ASSERT_TRUE(terminal.shows("RUNNING (1)")) << terminal.screen();
    terminal.press("c");
    ASSERT_TRUE(terminal.shows("Cancel it? [y/N]")) << terminal.screen();
    terminal.press("n");
    EXPECT_TRUE(terminal.shows("Nothing was done.")) << terminal.screen();
    terminal.press("c");
    ASSERT_TRUE(terminal.shows("Cancel it? [y/N]")) << terminal.screen();
    terminal.press("y");
    EXPECT_TRUE(test::eventually([&] { return status("11111111") == "cancelled"; })) << terminal.screen();
    leave(terminal);
}

TEST_F(WatchTest, ABugsPageIsOpenedInTheBrowserByItsAddressAlone) {
    const std::filesystem::path browser = repository.scratch("browser"), page = repository.scratch("page");
    test::writeFile(browser, "#!/bin/sh\nprintf '%s|' \"$@\" >" + page.string() + "\n");
    std::filesystem::permissions(browser, std::filesystem::perms::owner_all);
    work("idle");
    test::Tmux terminal(temporary(), environment);
    terminal.enter(watch());
    ASSERT_TRUE(terminal.shows("RUNNING (1)")) << terminal.screen();
    terminal.press("o");
    EXPECT_TRUE(terminal.shows("Opened http://127.0.0.1")) << terminal.screen();
    EXPECT_TRUE(test::eventually([&] {
        return std::filesystem::exists(page) && test::readFile(page) == item("11111111", "bug_url") + "|";
    }));
    leave(terminal);
}

TEST_F(WatchTest, PanesTellOfTheSelectedBug) {
    work("idle");
    test::Tmux terminal(temporary(), environment);
    terminal.enter(watch());
    ASSERT_TRUE(terminal.shows("RUNNING (1)")) << terminal.screen();
    EXPECT_TRUE(terminal.showsOnceTyped("d", "Nothing has changed.")) << terminal.screen();
    EXPECT_TRUE(terminal.showsOnceTyped("g", "/goal")) << terminal.screen();
    EXPECT_TRUE(terminal.showsOnceTyped("e", "Added to queue.")) << terminal.screen();
    leave(terminal);
}

TEST_F(WatchTest, TheTerminalIsPutBackAfterASignal) {
    work("idle");
    test::Tmux terminal(temporary(), environment);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGSEGV, SIGQUIT}) {
        terminal.enter(watch());
        ASSERT_TRUE(terminal.shows("RUNNING (1)")) << signal << terminal.screen();
        kill(client(), signal);
        isAShellAgain(terminal);
    }
}

/// With a hang-up, and where that comes to nobody: then its terminal ends what is read.
TEST_F(WatchTest, ItEndsWithItsTerminal) {
    work("full-screen");
    for (const char* before : {"", "setsid "}) {
        test::Tmux terminal(temporary(), environment, "closed");
        terminal.enter(watch(before));
        ASSERT_TRUE(terminal.shows("RUNNING (1)")) << before << terminal.screen();
        terminal.close();
        EXPECT_TRUE(test::eventually([&] { return !test::isAlive(client()); })) << before;
    }
}

TEST_F(WatchTest, ItEndsWithItsTerminalWhileAPersonIsAtAnAgents) {
    work("full-screen");
    for (const char* before : {"", "setsid "}) {
        test::Tmux terminal(temporary(), environment, "closed");
        terminal.enter(watch(before));
        ASSERT_TRUE(terminal.shows("RUNNING (1)")) << before << terminal.screen();
        terminal.press("Enter");
        ASSERT_TRUE(terminal.showsOnceTyped("z", "keys: z")) << before << terminal.screen();
        terminal.close();
        EXPECT_TRUE(test::eventually([&] { return !test::isAlive(client()); })) << before;
    }
}

TEST_F(WatchTest, ControlZGivesTheShellItsTerminal) {
    work("idle");
    test::Tmux terminal(temporary(), environment);
    terminal.enter(watch());
    ASSERT_TRUE(terminal.shows("RUNNING (1)")) << terminal.screen();
    terminal.press("C-z");
    isAShellAgain(terminal);
    terminal.enter("fg");
    EXPECT_TRUE(terminal.shows("RUNNING (1)")) << terminal.screen();
    leave(terminal);
}

TEST_F(WatchTest, WithoutATerminalItIsRefused) {
    const auto refused = dispatch({"watch", "--home", home()});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.error, HasSubstr("There is no terminal to draw on"));
}

TEST_F(WatchTest, WithoutAHomeItSaysSoAndMakesNone) {
    test::Tmux terminal(temporary(), environment);
    terminal.enter(watch());
    EXPECT_TRUE(terminal.shows("There is no dispatch home")) << terminal.screen();
    leave(terminal);
    EXPECT_FALSE(std::filesystem::exists(home()));
}

}  // namespace
}  // namespace quernlight
