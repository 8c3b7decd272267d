#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/process/process_tree.hpp"
#include "tests/host/dispatch_fixture.hpp"
#include "tests/host/process_table.hpp"
#include "tests/host/tmux.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using testing::HasSubstr;

/// An owner whose agent has the goal of bug 11111111 and does what the test has chosen; a person's terminal
/// beside it.
class AttachTest : public test::DispatchFixture {
  protected:
    AttachTest() {
        reportClearBug("11111111");
        startBackend();
        mapApp();
    }
    ~AttachTest() override {
        if (program) {
            program->signal(SIGKILL);
        }
    }

    void work(const std::string& behaviour) {
        agentDoes("11111111", behaviour);
        program = start(runWith());
        ASSERT_TRUE(program->says("11111111  goalAccepted: ")) << program->output() << program->errorText();
    }
    std::string sessions(const std::string& words) const {
        return executable.string() + " sessions " + words + " --home " + home().string();
    }
    /// A command that attaches, so that the test knows the process that does.
    std::string knownAttach() const {
        return "sh -c \"echo \\$\\$ >" + pidFile() + "; exec " + sessions("attach 11111111") + "\"";
    }
    std::string pidFile() const { return (temporary() / "client.pid").string(); }
    pid_t client() const { return static_cast<pid_t>(std::stol(test::readFile(pidFile()))); }
    test::Outcome send(std::vector<std::string> words) {
        words.insert(words.begin(), {"sessions", "send", "11111111"});
        words.insert(words.end(), {"--home", home()});
        return dispatch(words);
    }

    static void isAShellAgain(test::Tmux& terminal) {
        EXPECT_EQ(terminal.settingsInShell(), test::Tmux::usualSettings);
    }

    std::unique_ptr<test::DispatchProcess> program;
};

TEST_F(AttachTest, AFullScreenProgramIsSeenAndUsed) {
    work("full-screen");
    test::Tmux terminal(temporary(), environment);
    terminal.enter("echo before");
    terminal.enter(sessions("attach 11111111"));
    ASSERT_TRUE(terminal.shows(" Full screen ")) << terminal.screen();
    EXPECT_EQ(terminal.state("#{alternate_on} #{mouse_standard_flag} #{keypad_cursor_flag}"), "1 1 1");
    EXPECT_THAT(terminal.colouredScreen(), HasSubstr("\x1b[1m\x1b[33m\x1b[44m Full screen "));
    terminal.press("Up");
    EXPECT_TRUE(terminal.shows("keys: ^[OA")) << terminal.screen();
    EXPECT_TRUE(terminal.shows(" Full screen  100 by 30")) << terminal.screen();
    terminal.resize(120, 35);
    EXPECT_TRUE(terminal.showsOnceTyped("x", " Full screen  120 by 35")) << terminal.screen();
    EXPECT_TRUE(terminal.holdsOnceTyped("q", [&] { return terminal.state("#{alternate_on}") == "0"; }));
    terminal.press("C-]");
    EXPECT_TRUE(terminal.shows("Left the terminal of bug 11111111; its session goes on."))
        << terminal.screen();
    EXPECT_THAT(terminal.scrollBack(), HasSubstr("before"));
    isAShellAgain(terminal);
}

/// With a hang-up, and where that comes to nobody: then its terminal ends what is read.
TEST_F(AttachTest, ItEndsWithItsTerminal) {
    work("full-screen");
    for (const char* before : {"", "setsid "}) {
        test::Tmux terminal(temporary(), environment, "closed");
        terminal.enter(before + knownAttach());
        ASSERT_TRUE(terminal.shows(" Full screen ")) << before << terminal.screen();
        terminal.close();
        EXPECT_TRUE(test::eventually([&] { return !test::isAlive(client()); })) << before;
    }
    EXPECT_TRUE(test::isAlive(agent("11111111")));
}

TEST_F(AttachTest, ControlJIsNotEnter) {
    work("full-screen");
    test::Tmux terminal(temporary(), environment);
    terminal.enter(sessions("attach 11111111"));
    ASSERT_TRUE(terminal.shows(" Full screen ")) << terminal.screen();
    EXPECT_TRUE(terminal.showsOnceTyped("C-j", "keys: ^J")) << terminal.screen();
    EXPECT_TRUE(terminal.showsOnceTyped("Enter", "keys: ^M")) << terminal.screen();
    terminal.press("C-]");
    isAShellAgain(terminal);
}

/// The model of the agent's terminal has answered already.
TEST_F(AttachTest, AQuestionIsAnsweredOnce) {
    work("full-screen");
    test::Tmux terminal(temporary(), environment);
    terminal.enter(sessions("attach 11111111"));
    ASSERT_TRUE(terminal.shows(" Full screen "));
    terminal.press("a");
    ASSERT_TRUE(terminal.shows("keys: ^[[")) << terminal.screen();
    terminal.press("b");
    EXPECT_TRUE(terminal.shows("keys: b")) << terminal.screen();
    terminal.press("C-]");
    isAShellAgain(terminal);
}

TEST_F(AttachTest, WhoLeavesInAFullScreenProgramComesBackToIt) {
    work("full-screen");
    test::Tmux terminal(temporary(), environment);
    for (const char* key : {"y", "z"}) {
        terminal.enter(sessions("attach 11111111"));
        ASSERT_TRUE(terminal.shows(" Full screen "));
        terminal.press(key);
        EXPECT_TRUE(terminal.shows(std::string("keys: ") + key)) << terminal.screen();
        terminal.press("C-]");
        EXPECT_TRUE(terminal.shows("its session goes on.")) << terminal.screen();
        isAShellAgain(terminal);
    }
}

TEST_F(AttachTest, TwoSeeTheSameAndTheLastWhoTypedSetsTheSize) {
    work("full-screen");
    test::Tmux first(temporary(), environment, "first", 100, 30),
        second(temporary(), environment, "second", 90, 26);
    first.enter(sessions("attach 11111111"));
    ASSERT_TRUE(first.shows(" Full screen "));
    second.enter(sessions("attach 11111111"));
    ASSERT_TRUE(second.shows(" Full screen "));
    second.press("s");
    EXPECT_TRUE(second.shows(" Full screen  90 by 26")) << second.screen();
    EXPECT_TRUE(first.shows(" Full screen  90 by 26")) << first.screen();
    EXPECT_TRUE(first.showsOnceTyped("f", " Full screen  100 by 30")) << first.screen();
    EXPECT_TRUE(second.shows("100 by 30")) << second.screen();
    first.press("C-]");
    isAShellAgain(first);
    second.press("C-]");
    isAShellAgain(second);
}

/// A stopped process reads nothing.
TEST_F(AttachTest, WhoIsStuckHoldsUpNobody) {
    work("flood");
    test::Tmux stuck(temporary(), environment, "stuck"), terminal(temporary(), environment);
    stuck.enter(knownAttach());
    ASSERT_TRUE(stuck.shows("compiling")) << stuck.screen();
    kill(client(), SIGSTOP);
    terminal.enter(sessions("attach 11111111"));
    EXPECT_TRUE(terminal.shows("compiling")) << terminal.screen();
    EXPECT_TRUE(program->says("11111111  completed")) << program->output();
    EXPECT_TRUE(terminal.shows("The agent of bug 11111111 has ended")) << terminal.screen();
    isAShellAgain(terminal);
    kill(client(), SIGKILL);
}

TEST_F(AttachTest, TheTerminalIsPutBackWhenTheOwnerDies) {
    work("full-screen");
    test::Tmux terminal(temporary(), environment);
    terminal.enter(sessions("attach 11111111") + "; echo status $?");
    ASSERT_TRUE(terminal.shows(" Full screen "));
    program->signal(SIGKILL);
    EXPECT_TRUE(terminal.shows("status 1")) << terminal.screen();
    EXPECT_THAT(terminal.screen(), HasSubstr("The dispatcher went away"));
    isAShellAgain(terminal);
}

TEST_F(AttachTest, TheTerminalIsPutBackAfterASignal) {
    work("full-screen");
    test::Tmux terminal(temporary(), environment);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGSEGV}) {
        terminal.enter(knownAttach());
        ASSERT_TRUE(terminal.shows(" Full screen ")) << signal << terminal.screen();
        kill(client(), signal);
        isAShellAgain(terminal);
    }
}

TEST_F(AttachTest, HowTheSessionEndedIsSaid) {
    work("approval");
    test::Tmux terminal(temporary(), environment);
    terminal.enter(sessions("attach 11111111") + "; echo status $?");
    ASSERT_TRUE(terminal.shows("Yes, proceed")) << terminal.screen();
    terminal.press("Enter");
    EXPECT_TRUE(terminal.shows("status 0")) << terminal.screen();
    EXPECT_THAT(terminal.screen(),
                HasSubstr("The agent of bug 11111111 has ended with status 0; the bug is: "));
    isAShellAgain(terminal);
}

TEST_F(AttachTest, WhoOnlyLooksTypesNothing) {
    work("full-screen");
    test::Tmux terminal(temporary(), environment, "one", 130, 45);
    terminal.enter(sessions("attach 11111111 --read-only"));
    ASSERT_TRUE(terminal.shows(" Full screen "));
    terminal.press("r");
    EXPECT_EQ(send({"s"}).exitCode, 0);
    EXPECT_TRUE(terminal.shows("keys: s")) << terminal.screen();
    terminal.press("C-]");
    isAShellAgain(terminal);
}

TEST_F(AttachTest, WithoutATerminalItIsRefused) {
    work("full-screen");
    const auto refused = dispatch({"sessions", "attach", "11111111", "--home", home()});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.error, HasSubstr("There is no terminal to attach to"));
}

TEST_F(AttachTest, WithoutAnAgentAttachAndSendAreRefused) {
    const auto refusal = [&](const std::string& bugID, bool attaches) {
        std::vector<std::string> line{"sessions", attaches ? "attach" : "send", bugID};
        line.insert(line.end(), {attaches ? "--read-only" : "yes", "--home", home()});
        const auto refused = dispatch(line);
        EXPECT_EQ(refused.exitCode, 1);
        return refused.error;
    };
    work("full-screen");
    for (const bool attaches : {true, false}) {
        EXPECT_THAT(refusal("99999999", attaches), HasSubstr("Bug 99999999 is not in the queue"));
    }
    program->signal(SIGKILL);
    program->exitCode();
    for (const bool attaches : {true, false}) {
        EXPECT_THAT(refusal("11111111", attaches), HasSubstr("No dispatcher is running"));
    }
}

TEST_F(AttachTest, AnAgentsProcessIsRefused) {
    work("full-screen");
    const auto mark = host::markOf(randomUuid());
    environment[mark.name] = mark.value;
    EXPECT_THAT(send({"yes"}).error, HasSubstr("This is for people only"));
    EXPECT_THAT(dispatch({"sessions", "attach", "11111111", "--home", home()}).error,
                HasSubstr("This is for people only"));
}

TEST_F(AttachTest, WhatIsSentIsTypedAndNothingElse) {
    work("full-screen");
    test::Tmux terminal(temporary(), environment);
    terminal.enter(sessions("attach 11111111"));
    ASSERT_TRUE(terminal.shows(" Full screen "));
    EXPECT_EQ(send({"two words\x03"}).exitCode, 0);
    EXPECT_TRUE(terminal.shows("keys: two words")) << terminal.screen();
    EXPECT_EQ(send({"\x1b[A", "--raw"}).exitCode, 0);
    EXPECT_TRUE(terminal.shows("keys: ^[[A")) << terminal.screen();
    EXPECT_EQ(send({"q", "--enter"}).exitCode, 0);
    EXPECT_TRUE(test::eventually([&] { return terminal.state("#{alternate_on}") == "0"; }));
}

}  // namespace
}  // namespace quernlight
