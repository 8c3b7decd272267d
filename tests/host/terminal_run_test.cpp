#include <csignal>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/spawn.hpp"
#include "tests/host/dispatch_fixture.hpp"
#include "tests/host/terminal_bytes.hpp"

namespace quernlight {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// `run` as the job of a shell on a terminal; the shell says how the terminal is set each time that it has
/// it.
class TerminalRunTest : public test::DispatchFixture {
  protected:
    TerminalRunTest() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        EXPECT_TRUE(grantpt(master_.get()) == 0 && unlockpt(master_.get()) == 0);
    }
    ~TerminalRunTest() override {
        master_.close();  // hangs up on what still runs
        if (shell_ > 0) {
            waitpid(shell_, nullptr, 0);
        }
    }

    void startInShell() {
        const char* const script =
            "ulimit -c 0; set -m; \"$@\"; stty -a; echo 'the shell has it'; fg; stty -a; echo 'it has ended'";
        SpawnRequest request{.executable = "/bin/bash",
                             .arguments = {"bash", "-c", script, "bash", QUERNLIGHT_DISPATCH_PATH},
                             .environment = {},
                             .workingDirectory = repository.scratch(""),
                             .streams = TerminalStreams{.device = ptsname(master_.get())}};
        for (const std::string& argument : runWith()) {
            request.arguments.push_back(argument);
        }
        for (const auto& [name, value] : environment) {
            request.environment.push_back(name + "=" + value);
        }
        shell_ = spawnProcess(request);
    }

    /// What comes on the terminal up to the text, and with it.
    std::string shownUpTo(const std::string& text) {
        while (unread_.find(text) == std::string::npos) {
            const std::string bytes = test::nextBytes(master_);
            if (bytes.empty()) {
                ADD_FAILURE() << "no \"" << text << "\" in: " << unread_;
                return "";
            }
            unread_ += bytes;
        }
        const auto end = unread_.find(text) + text.size();
        const std::string shown = unread_.substr(0, end);
        unread_.erase(0, end);
        return shown;
    }

    /// Once it is drawn again and again.
    void awaitPicture(const std::string& text) {
        shownUpTo(text);
        shownUpTo("A\r\x1b[J");
        shownUpTo(text);
    }

    void press(const std::string& key) {
        EXPECT_EQ(write(master_.get(), key.data(), key.size()), static_cast<ssize_t>(key.size()));
    }

  private:
    FileDescriptor master_;
    pid_t shell_ = -1;
    std::string unread_;
};

TEST_F(TerminalRunTest, ControlZGivesTheTerminalBackAndThePictureIsDrawnAnewBelow) {
    report("3f2a9c1d", "Crash on launch");
    startBackend();
    startInShell();
    awaitPicture("needs mapping");
    press("\x1a");
    EXPECT_THAT(shownUpTo("the shell has it"), AllOf(HasSubstr(" icanon"), HasSubstr(" echo ")));
    EXPECT_THAT(shownUpTo("needs mapping"), Not(HasSubstr("A\r\x1b[J")));
    EXPECT_THAT(shownUpTo("needs mapping"), HasSubstr("A\r\x1b[J"));
    press("\x03");
    EXPECT_THAT(shownUpTo("it has ended"), AllOf(HasSubstr(" icanon"), HasSubstr(" echo ")));
}

TEST_F(TerminalRunTest, KeysLeaveNothingInThePictureAndNothingForTheShell) {
    report("3f2a9c1d", "Crash on launch");
    startBackend();
    startInShell();
    awaitPicture("needs mapping");
    press("blind\r");
    for (int frame = 0; frame < 3; ++frame) {
        EXPECT_THAT(shownUpTo("needs mapping"), Not(HasSubstr("blind")));
    }
    press("\x03");
    EXPECT_THAT(shownUpTo("the shell has it"), Not(HasSubstr("blind")));
}

TEST_F(TerminalRunTest, ASignalThatEndsTheProgramAtOnceLeavesTheTerminalAsItWas) {
    report("3f2a9c1d", "Crash on launch");
    startBackend();
    startInShell();
    awaitPicture("needs mapping");
    press("\x1c");
    EXPECT_THAT(shownUpTo("the shell has it"), AllOf(HasSubstr(" icanon"), HasSubstr(" echo ")));
}

TEST_F(TerminalRunTest, AnAgentThatHasCrashedIsShownAsThatWhileItsCommentIsWaitedFor) {
    reportClearBug("3f2a9c1d");
    agentDoes("3f2a9c1d", "crash");
    mapApp();
    startBackend();
    startInShell();
    EXPECT_THAT(shownUpTo("comment due by "), HasSubstr("· 3f2a9c1d  Shop        ended by SIGSEGV"));
    press("\x03");
    shownUpTo("the shell has it");
}

}  // namespace
}  // namespace quernlight
