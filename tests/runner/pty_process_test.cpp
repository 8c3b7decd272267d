#include "quernlight/runner/pty_process.hpp"

#include "tests/runner/pty_process_fixture.hpp"

namespace quernlight {
namespace {

using namespace test;

class PTYProcessTest : public PTYProcessFixture {};

/// The program that dies is begun anew, since a fork of this one would copy locks that its threads hold.
class PTYProcessDeathTest : public PTYProcessFixture {
  protected:
    PTYProcessDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(PTYProcessDeathTest, ASizeBeyondSixteenBitsStopsTheProgram) {
    shell("printf ready; read word");
    log->outputWith("ready");
    EXPECT_DEATH(process->resize(65536, 24), "at most 65535");
    terminate(TerminationMode::kill);
    join();
    request.rows = 65536;
    EXPECT_DEATH(shell("exit 0"), "at most 65535");
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

TEST_F(PTYProcessTest, TheEndOfATextThatTheTranscriptCannotTakeStillAnnouncesTheExit) {
    request.transcriptTextPath = "/dev/full";
    shell("printf 'a\\342\\200'");
    EXPECT_EQ(log->wholeOutput(), "a\xE2\x80");
    EXPECT_EQ(log->kinds(), "SOX");
}

TEST_F(PTYProcessTest, ACharacterThatNeverComesWholeIsReplacedInTheTextWhenTheSessionEnds) {
    shell("printf 'a\\342\\200'");
    EXPECT_EQ(log->wholeOutput(), "a\xE2\x80");
    EXPECT_EQ(readFile(request.transcriptTextPath), "a\uFFFD");
}

TEST_F(PTYProcessTest, TheEventHandlerMayAskTheSessionAboutItself) {
    onEveryEvent = [this] { EXPECT_EQ(process->snapshot().has_value(), process->isRunning()); };
    shell("printf text");
    join();
    EXPECT_EQ(log->kinds(), "SOX");
}

TEST_F(PTYProcessTest, MoreOutputThanATerminalHoldsArrivesWhole) {
    shell("stty -opost; head -c 300000 /dev/zero | tr '\\0' x");
    EXPECT_EQ(log->wholeOutput(), std::string(300000, 'x'));
    EXPECT_EQ(readFile(request.transcriptANSIPath).size(), 300000U);
}

}  // namespace
}  // namespace quernlight
