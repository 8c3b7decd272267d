#include <fstream>
#include <future>

#include <sys/stat.h>
#include <sys/wait.h>

#include <boost/asio/post.hpp>

#include "tests/runner/pty_process_fixture.hpp"

namespace quernlight {
namespace {

using namespace test;

/// How sessions end, and what may still be asked of them then.
class PTYProcessExitTest : public PTYProcessFixture {
  protected:
    /// A child that has closed its terminal and lives until somebody writes to "released" or it is killed.
    StartSessionResponse childWithoutTerminal() {
        EXPECT_EQ(::mkfifo((directory / "released").c_str(), 0600), 0);
        const auto response = shell("exec <&- >&- 2>&-; read word <released; exit 5");
        // Opening it for writing waits until the child reads, hence until it has closed the terminal.
        released_.open(directory / "released");
        return response;
    }

    void release() { released_ << "go\n" << std::flush; }

  private:
    std::ofstream released_;
};

TEST_F(PTYProcessExitTest, TheExitCodeIsTheStatusOr128AndTheSignal) {
    EXPECT_EQ(exitCodeOf("exit 3"), 3);
    EXPECT_EQ(exitCodeOf("kill -TERM $$"), 143);
    EXPECT_EQ(exitCodeOf("kill -KILL $$"), 137);
}

TEST_F(PTYProcessExitTest, AfterTheExitOnlySignalsAreTaken) {
    exitCodeOf("exit 0");
    expectNotRunning([this] { terminate(TerminationMode::requestExitCommand); });
    expectNotRunning([this] { write("text"); });
    expectNotRunning([this] { process->resize(80, 24); });
    EXPECT_FALSE(process->snapshot());
    terminate(TerminationMode::interrupt);
    terminate(TerminationMode::kill);
}

TEST_F(PTYProcessExitTest, TheLastWordsOfAChildThatExitsAtOnceAreNeverLost) {
    for (int round = 0; round < 50; ++round) {
        shell("printf last");
        ASSERT_EQ(log->wholeOutput(), "last") << "in round " << round;
        ASSERT_EQ(log->kinds(), "SOX");
    }
}

TEST_F(PTYProcessExitTest, AChildThatLetsGoOfItsTerminalIsStillWaitedFor) {
    childWithoutTerminal();
    EXPECT_TRUE(process->isRunning());
    release();
    EXPECT_EQ(log->exitCode(), 5);
}

TEST_F(PTYProcessExitTest, DroppingASessionHangsUpOnItsChild) {
    const pid_t pid = shell("printf waiting; read word").pid;
    log->outputWith("waiting");
    readerQueue.stop();
    readerQueue.join();
    process->hangUp();
    EXPECT_EQ(::waitpid(pid, nullptr, WNOHANG), -1) << "the child was not reaped";
    expectNotRunning([this] { write("text"); });
}

TEST_F(PTYProcessExitTest, AChildThatSomebodyElseHasReapedReports0) {
    std::promise<void> reaped;
    boost::asio::post(readerQueue, [wait = reaped.get_future().share()] { wait.wait(); });
    const pid_t pid = shell("exit 9").pid;
    EXPECT_EQ(::waitpid(pid, nullptr, 0), pid);
    reaped.set_value();
    EXPECT_EQ(log->exitCode(), 0);
    EXPECT_EQ(log->kinds(), "SX");
}

TEST_F(PTYProcessExitTest, AChildThatHasClosedItsTerminalStillRunsAndIsDriven) {
    const auto response = childWithoutTerminal();
    EXPECT_EQ(process->snapshot(),
              (RunnerSessionSnapshot{request.sessionID, response.pid, response.startedAt}));
    EXPECT_NO_THROW(write("kept by the terminal for whoever opens it next"));
    EXPECT_NO_THROW(process->resize(100, 40));
    terminate(TerminationMode::terminate);
    EXPECT_EQ(log->exitCode(), 143);
    EXPECT_TRUE(log->kinds().ends_with("X"));
}

}  // namespace
}  // namespace quernlight
