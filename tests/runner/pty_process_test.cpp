#include "quernlight/runner/pty_process.hpp"

#include <cerrno>
#include <fstream>

#include <sys/stat.h>
#include <sys/wait.h>

#include "quernlight/runner/pty_process_error.hpp"
#include "tests/runner/pty_process_fixture.hpp"
#include "tests/support/eventually.hpp"

namespace quernlight {
namespace {

using namespace test;

class PTYProcessTest : public PTYProcessFixture {
  protected:
    /// The description of the error that starting the command throws.
    std::string startFailure(std::vector<std::string> launchCommand) {
        try {
            start(std::move(launchCommand));
        } catch (const PTYProcessError& error) {
            return error.what();
        }
        return "";
    }

    void expectNotRunning(const std::function<void()>& operation) {
        try {
            operation();
            ADD_FAILURE() << "nothing was thrown";
        } catch (const PTYProcessError& error) {
            EXPECT_EQ(error.kind(), PTYProcessError::Case::sessionNotRunning);
            EXPECT_STREQ(error.what(), "Session is not running.");
        }
    }
};

TEST_F(PTYProcessTest, ACommandWithoutASlashIsLookedUpOnThePathOfTheChild) {
    writeFile(directory / "bin/codex", "#!/bin/sh\nprintf '[%s]' \"$@\"\n");
    ASSERT_EQ(::chmod((directory / "bin/codex").c_str(), 0700), 0);
    request.environment["PATH"] = (directory / "bin").string() + ":/usr/bin:/bin";
    start({"codex", "--flag with space"});
    EXPECT_EQ(log->wholeOutput(), "[--flag with space]");
}

TEST_F(PTYProcessTest, ACommandThatEnvCannotFindExitsAsEnvDoes) {
    request.environment["PATH"] = directory.path();
    start({"codex"});
    EXPECT_EQ(log->exitCode(), 127);
    EXPECT_NE(log->wholeOutput().find("codex"), std::string::npos);
}

TEST_F(PTYProcessTest, ACommandWithASlashIsStartedAsItIsWithTheCommandAsItsArguments) {
    start({"/bin/sh", "-c", "printf '[%s]' \"$0\" \"$@\"", "zero", "*", "$HOME; exit"});
    EXPECT_EQ(log->wholeOutput(), "[zero][*][$HOME; exit]");
}

TEST_F(PTYProcessTest, TheChildRunsInTheRepositoryAndLeadsASessionOnItsTerminal) {
    shell("pwd -P; printf said >/dev/tty; test -t 0 && test -t 1 && test -t 2");
    EXPECT_EQ(log->exitCode(), 0);
    const std::string expected = std::filesystem::canonical(directory.path()).string() + "\r\nsaid";
    EXPECT_EQ(log->wholeOutput(), expected);
}

TEST_F(PTYProcessTest, NoRowsAndNoColumnsMakeATerminalOfOneByOne) {
    request.rows = 0;
    request.columns = 0;
    shell("stty size");
    EXPECT_EQ(log->wholeOutput(), "1 1\r\n");
}

TEST_F(PTYProcessTest, AnEmptyEnvironmentGivesTheChildNone) {
    request.environment.clear();
    start({"/usr/bin/env"});
    EXPECT_EQ(log->wholeOutput(), "");
}

TEST_F(PTYProcessTest, TheEnvironmentIsWhatTheRequestSaysSortedByKey) {
    request.environment = {{"B", "2=2"}, {"A", "1"}, {"C", ""}};
    start({"/usr/bin/env"});
    EXPECT_EQ(log->wholeOutput(), "A=1\r\nB=2=2\r\nC=\r\n");
}

TEST_F(PTYProcessTest, AChildKilledBySigkillReports137) {
    EXPECT_EQ(exitCodeOf("kill -KILL $$"), 137);
}

TEST_F(PTYProcessTest, AChildKilledBySigtermReports143) {
    EXPECT_EQ(exitCodeOf("kill -TERM $$"), 143);
}

TEST_F(PTYProcessTest, AChildThatExitsWithStatus3Reports3) {
    EXPECT_EQ(exitCodeOf("exit 3"), 3);
}

TEST_F(PTYProcessTest, LineFeedsReachTheTerminalAsCarriageReturns) {
    rawShell("head -c 5 | od -An -c");
    write("a\r\nb\nc");
    EXPECT_NE(log->wholeOutput().find("a  \\r   b  \\r   c"), std::string::npos);
}

TEST_F(PTYProcessTest, TheExitCommandIsTypedWithEnter) {
    rawShell("head -c 6 | od -An -c");
    terminate(TerminationMode::requestExitCommand);
    EXPECT_NE(log->wholeOutput().find("/   e   x   i   t  \\r"), std::string::npos);
}

TEST_F(PTYProcessTest, TheExitCommandAfterTheExitThrows) {
    exitCodeOf("exit 0");
    expectNotRunning([this] { terminate(TerminationMode::requestExitCommand); });
}

TEST_F(PTYProcessTest, WritesAndResizesAfterTheExitThrow) {
    exitCodeOf("exit 0");
    expectNotRunning([this] { write("text"); });
    expectNotRunning([this] { process->resize(80, 24); });
    EXPECT_FALSE(process->snapshot());
}

TEST_F(PTYProcessTest, SignalsAfterTheExitAreHarmless) {
    exitCodeOf("exit 0");
    terminate(TerminationMode::interrupt);
    terminate(TerminationMode::kill);
}

TEST_F(PTYProcessTest, EveryModeSendsItsSignal) {
    const std::string script =
        "trap 'exit 2' INT; trap 'exit 15' TERM; printf set; while :; do sleep 0.01; done";
    const std::vector<std::pair<TerminationMode, int>> expected = {
        {TerminationMode::interrupt, 2}, {TerminationMode::terminate, 15}, {TerminationMode::kill, 137}};
    for (const auto& [mode, exitCode] : expected) {
        shell(script);
        log->outputWith("set");
        terminate(mode);
        EXPECT_EQ(log->exitCode(), exitCode);
    }
}

TEST_F(PTYProcessTest, AResizeIsSeenByTheChild) {
    rawShell("head -c 1 >/dev/null; stty size");
    process->resize(100, 40);
    write("x");
    EXPECT_NE(log->wholeOutput().find("40 100"), std::string::npos);
}

TEST_F(PTYProcessTest, EventsAreStartedThenOutputThenExitedOnce) {
    const StartSessionResponse response = shell("printf text");
    EXPECT_EQ(response.sessionID, request.sessionID);
    EXPECT_GT(response.pid, 0);
    join();
    EXPECT_EQ(log->kinds(), "SOX");
}

TEST_F(PTYProcessTest, OutputIsInTheTranscriptsBeforeItIsAnnounced) {
    rawShell("printf '\\033[31mred\\r'; head -c 1 >/dev/null");
    log->outputWith("red");
    EXPECT_EQ(readFile(request.transcriptANSIPath), "ready\n\x1B[31mred\r");
    EXPECT_EQ(readFile(request.transcriptTextPath), "ready\nred\n");
    write("x");
    join();
}

TEST_F(PTYProcessTest, OutputThatTranscriptsCannotTakeIsStillAnnounced) {
    writeFile(directory / "file", "");
    request.transcriptANSIPath = directory / "file/terminal.ansi";
    shell("printf text");
    EXPECT_EQ(log->wholeOutput(), "text");
    EXPECT_EQ(log->kinds(), "SOX");
}

TEST_F(PTYProcessTest, ACharacterThatNeverComesWholeIsReplacedInTheTextWhenTheSessionEnds) {
    shell("printf 'a\\342\\200'");
    EXPECT_EQ(log->wholeOutput(), "a\xE2\x80");
    EXPECT_EQ(readFile(request.transcriptTextPath), "a\uFFFD");
}

TEST_F(PTYProcessTest, TheLastWordsOfAChildThatExitsAtOnceAreNeverLost) {
    for (int round = 0; round < 50; ++round) {
        shell("printf last");
        ASSERT_EQ(log->wholeOutput(), "last") << "in round " << round;
        ASSERT_EQ(log->kinds(), "SOX");
    }
}

TEST_F(PTYProcessTest, MoreOutputThanATerminalHoldsArrivesWhole) {
    shell("stty -opost; head -c 300000 /dev/zero | tr '\\0' x");
    EXPECT_EQ(log->wholeOutput(), std::string(300000, 'x'));
    EXPECT_EQ(readFile(request.transcriptANSIPath).size(), 300000U);
}

TEST_F(PTYProcessTest, AnEmptyLaunchCommandIsRefusedBeforeAnythingIsOpened) {
    const auto before = openDescriptorCount();
    EXPECT_EQ(startFailure({}), "Codex launch command is empty.");
    EXPECT_EQ(openDescriptorCount(), before);
    EXPECT_FALSE(process->isRunning());
}

TEST_F(PTYProcessTest, AProgramThatIsNotThereCannotBeLaunched) {
    startFailure({"/nonexistent/codex"});  // the reader queue opens descriptors of its own the first time
    const auto before = openDescriptorCount();
    EXPECT_EQ(startFailure({"/nonexistent/codex"}), "Unable to launch Codex: No such file or directory");
    EXPECT_EQ(openDescriptorCount(), before);
    EXPECT_EQ(log->kinds(), "");
    expectNotRunning([this] { write("text"); });
}

TEST_F(PTYProcessTest, ARepositoryThatIsNotThereCannotBeLaunchedIn) {
    request.repoPath = directory / "missing";
    EXPECT_EQ(startFailure({"/bin/sh"}), "Unable to launch Codex: No such file or directory");
}

TEST_F(PTYProcessTest, NothingIsLeftOfThirtySessions) {
    exitCodeOf("exit 0");
    dropProcess();
    const auto before = openDescriptorCount();
    for (int round = 0; round < 30; ++round) {
        const pid_t pid = shell("printf x").pid;
        ASSERT_EQ(log->exitCode(), 0);
        dropProcess();
        ASSERT_EQ(::waitpid(pid, nullptr, WNOHANG), -1);
        ASSERT_EQ(errno, ECHILD);
    }
    // The reader queue lets go of the last session shortly after its exit was told.
    EXPECT_TRUE(eventually([&] { return openDescriptorCount() <= before; }));
}

TEST_F(PTYProcessTest, AChildThatLetsGoOfItsTerminalIsStillWaitedFor) {
    ASSERT_EQ(::mkfifo((directory / "released").c_str(), 0600), 0);
    shell("exec <&- >&- 2>&-; read word <released; exit 5");
    // Opening it for writing waits until the child reads, hence until it has closed the terminal.
    std::ofstream(directory / "released") << "go\n";
    EXPECT_EQ(log->exitCode(), 5);
}

TEST_F(PTYProcessTest, DroppingASessionHangsUpOnItsChild) {
    const pid_t pid = shell("printf waiting; read word").pid;
    log->outputWith("waiting");
    readerQueue.stop();
    readerQueue.join();
    process->hangUp();
    EXPECT_EQ(::waitpid(pid, nullptr, WNOHANG), -1) << "the child was not reaped";
    expectNotRunning([this] { write("text"); });
}

}  // namespace
}  // namespace quernlight
