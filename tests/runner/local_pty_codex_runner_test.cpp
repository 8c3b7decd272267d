#include "quernlight/runner/local_pty_codex_runner.hpp"

#include <sys/wait.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>

#include "quernlight/runner/runner_error.hpp"
#include "tests/runner/codex_runner_fixture.hpp"

namespace quernlight {
namespace {

using namespace test;

class LocalPTYCodexRunnerTest : public CodexRunnerFixture {};

TEST_F(LocalPTYCodexRunnerTest, StartedCarriesWhatStartSessionReturns) {
    auto stream = runner->events(sessionID);
    const StartSessionResponse response = shell("exit 0");
    const auto event =
        awaitResult(stream.nextUntil(std::chrono::steady_clock::now()));  // it is there already
    ASSERT_TRUE(event && event->started());
    EXPECT_EQ(*event->started(), (RunnerEvent::Started{sessionID, response.pid, response.startedAt}));
}

TEST_F(LocalPTYCodexRunnerTest, AfterTheExitEveryOperationMissesTheSession) {
    EventLog log = listen();
    shell("exit 0");
    log.exitCode();
    expectMissing([this] { send("text"); });
    expectMissing([this] { awaitResult(runner->resize(sessionID, 80, 24)); });
    expectMissing([this] { terminate(TerminationMode::kill); });
    EXPECT_TRUE(active().empty());
}

TEST_F(LocalPTYCodexRunnerTest, AChildThatExitsImmediatelyLeavesNoEntry) {
    for (int round = 0; round < 50; ++round) {
        EventLog log = listen();
        request.launchCommand = {"/bin/true"};
        awaitResult(runner->startSession(request));
        log.exitCode();
        ASSERT_TRUE(active().empty()) << "in round " << round;
        expectMissing([this] { send("text"); });
    }
}

TEST_F(LocalPTYCodexRunnerTest, ARunningSessionIsListedAndDriven) {
    EventLog log = listen();
    const auto response = shell(prompt("head -c 1 >/dev/null; stty size; head -c 6 | od -An -c"));
    log.outputWith("›");
    EXPECT_EQ(active(), (std::vector{RunnerSessionSnapshot{sessionID, response.pid, response.startedAt}}));
    awaitResult(runner->resize(sessionID, 100, 40));
    send("x");
    log.outputWith("40 100");
    terminate(TerminationMode::requestExitCommand);
    EXPECT_NE(log.wholeOutput().find("/   e   x   i   t  \\r"), std::string::npos);
}

TEST_F(LocalPTYCodexRunnerTest, ASessionWhoseStartFailsIsNotRegisteredAndEmitsNothing) {
    EventLog log = listen();
    request.launchCommand = {};
    EXPECT_THROW(awaitResult(runner->startSession(request)), PTYProcessError);
    EXPECT_TRUE(active().empty());
    shell("exit 0");
    log.wholeOutput();
    EXPECT_EQ(log.kinds(), "SX");
}

TEST_F(LocalPTYCodexRunnerTest, TheExitOfAReplacedSessionLeavesItsSuccessorRegistered) {
    EventLog log = listen();
    shell("printf first; read word");
    log.outputWith("first");
    const pid_t first = active().front().pid;
    const StartSessionResponse second = shell("read word; exit 6");
    ASSERT_EQ(::kill(first, SIGKILL), 0);
    EXPECT_EQ(log.exitCode(), 137);
    EventLog successor = listen();
    ASSERT_EQ(active().size(), 1U);
    EXPECT_EQ(active().front().pid, second.pid);
    send("\n");
    EXPECT_EQ(successor.exitCode(), 6);
}

TEST_F(LocalPTYCodexRunnerTest, ThePromptIsLookedForEveryTwoTenthsOfASecond) {
    EXPECT_EQ(LocalPTYCodexRunner::readinessPollInterval, std::chrono::milliseconds(200));
}

TEST_F(LocalPTYCodexRunnerTest, SeveralLinesArriveAsAWholeAndThenASeparateEnter) {
    // The child takes exactly the text, says so, and only then reads what follows it.
    request.initialInput = "/goal first\nsecond";
    EventLog log = listen();
    shell(prompt("head -c 19 >text; printf '[text]'; head -c 1 >enter; printf '[enter]'; head -c 1 >next"));
    const Instant promptAt = log.dateOf("\u203A");
    log.outputWith("[text]");
    // The quiet period before the text, and the pause after it.
    EXPECT_GE(log.dateOf("[enter]") - promptAt, std::chrono::milliseconds(1500 + 350));
    send("x");
    log.wholeOutput();
    EXPECT_EQ(readFile(directory / "text"), "/goal first\rsecond\r");
    EXPECT_EQ(readFile(directory / "enter"), "\r");
    EXPECT_EQ(readFile(directory / "next"), "x");
}

TEST_F(LocalPTYCodexRunnerTest, NoControlCharacterOfAnInitialInputIsTypedButItsLineFeeds) {
    request.initialInput = "/goal A\x03\x04\x15\x1b[201~z\n";
    EventLog log = listen();
    shell(prompt("head -c 18 >text; printf '[text]'"));
    log.outputWith("[text]");
    EXPECT_EQ(readFile(directory / "text"), "/goal A    [201~z\r");
}

TEST_F(LocalPTYCodexRunnerTest, EveryEventCarriesTheTimeAtWhichItHappened) {
    auto stream = runner->events(sessionID);
    const Instant before = currentInstant();
    const StartSessionResponse response = shell("printf text");
    Instant latest = before;
    std::size_t events = 0;
    while (const auto event = awaitResult(stream.next())) {
        EXPECT_GE(event->date(), latest);
        latest = event->date();
        ++events;
    }
    EXPECT_EQ(events, 3U);
    EXPECT_LE(latest, currentInstant());
    EXPECT_GE(response.startedAt, before);
}

TEST_F(LocalPTYCodexRunnerTest, AnEmptyInitialInputTypesNothing) {
    // The terminal itself waits 2.5 seconds for a byte, longer than a prompt would take to be typed.
    EventLog log = listen();
    shell(prompt("stty min 0 time 25; dd bs=16 count=1 2>/dev/null | od -An -c; printf '[end]'"));
    EXPECT_EQ(log.wholeOutput(), "› [end]");
}

TEST_F(LocalPTYCodexRunnerTest, AnInitialInputForASessionThatHasEndedIsForgotten) {
    request.initialInput = "/goal";
    EventLog log = listen();
    shell("printf '\\342\\200\\272'");
    EXPECT_EQ(log.wholeOutput(), "›");
    EXPECT_EQ(log.kinds(), "SOX");
}

TEST_F(LocalPTYCodexRunnerTest, DroppingTheRunnerEndsItsSessionsAndItsStreams) {
    request.initialInput = "/goal";
    EventLog log = listen();
    const pid_t pid = shell("printf ready; read word").pid;
    log.outputWith("ready");
    runner.reset();
    log.wholeOutput();
    EXPECT_EQ(log.kinds(), "SO");
    EXPECT_EQ(::waitpid(pid, nullptr, WNOHANG), -1) << "the child was not reaped";
}

TEST_F(LocalPTYCodexRunnerTest, DroppingTheRunnerEndsASessionThatWasReplacedToo) {
    EventLog log = listen();
    const pid_t replaced = shell("printf first; read word").pid;
    log.outputWith("first");
    const pid_t successor = shell("printf second; read word").pid;
    log.outputWith("second");
    runner.reset();
    EXPECT_EQ(::waitpid(replaced, nullptr, WNOHANG), -1) << "the replaced child was not reaped";
    EXPECT_EQ(::waitpid(successor, nullptr, WNOHANG), -1) << "its successor was not reaped";
}

TEST_F(LocalPTYCodexRunnerTest, DroppingTheRunnerEndsAWaitForAFullTerminal) {
    EventLog log = listen();
    shell(prompt("sleep 1000"));
    log.outputWith("›");
    boost::asio::io_context io;
    auto sent = boost::asio::co_spawn(io, runner->sendInput(std::string(1 << 20, 'x'), sessionID),
                                      boost::asio::use_future);
    io.poll();
    runner.reset();
    io.restart();
    io.run();
    EXPECT_THROW(sent.get(), PTYProcessError);
}

}  // namespace
}  // namespace quernlight
