#include <chrono>
#include <ctime>
#include <fstream>
#include <future>

#include <sys/stat.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_future.hpp>

#include "quernlight/runner/runner_error.hpp"
#include "tests/runner/pty_process_fixture.hpp"

namespace quernlight {
namespace {

using namespace test;

/// Writes that are under way while something else happens.
class PTYProcessWriteTest : public PTYProcessFixture {
  protected:
    std::future<void> startWriting(std::string data) {
        auto written =
            boost::asio::co_spawn(lastingLoop(), process->write(std::move(data)), boost::asio::use_future);
        lastingLoop().restart();
        lastingLoop().poll();
        return written;
    }

    /// How long the reader queue's thread has worked.
    std::chrono::nanoseconds readerWork() {
        auto look = [] {
            timespec time{};
            clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
            return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
        };
        return boost::asio::post(readerQueue, boost::asio::use_future(look)).get();
    }

    void finish(std::future<void>& written) {
        while (written.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            lastingLoop().restart();
            lastingLoop().run_one_for(generousBound);
        }
        written.get();
    }
};

TEST_F(PTYProcessWriteTest, MoreThanATerminalHoldsIsTypedAsTheChildReads) {
    rawShell("head -c 200000 | tr -d y | wc -c");
    write(std::string(200000, 'x'));
    EXPECT_NE(log->wholeOutput().find("200000"), std::string::npos);
}

TEST_F(PTYProcessWriteTest, APersonsKeysAreTypedAsTheyAre) {
    rawShell("head -c 4 | od -An -tx1");
    awaitResult(process->writeKeys("\r\n\n\x1b"));
    EXPECT_NE(log->wholeOutput().find("0d 0a 0a 1b"), std::string::npos) << log->wholeOutput();
}

TEST_F(PTYProcessWriteTest, TwoWritesKeepTheirOrderAndDoNotMix) {
    rawShell("head -c 200000 | tr -s ab");
    auto first = startWriting(std::string(100000, 'a'));
    auto second = startWriting(std::string(100000, 'b'));
    finish(first);
    finish(second);
    EXPECT_EQ(log->wholeOutput(), "ready\nab");
}

TEST_F(PTYProcessWriteTest, AnEmptyWriteIsDoneAtOnce) {
    rawShell("sleep 1000");
    write("");
    terminate(TerminationMode::kill);
    join();
}

TEST_F(PTYProcessWriteTest, AnExitEndsTheWaitForAFullTerminal) {
    rawShell("sleep 1000");
    auto first = startWriting(std::string(1 << 20, 'x'));
    auto second = startWriting("y");
    terminate(TerminationMode::kill);
    EXPECT_THROW(finish(first), PTYProcessError);
    EXPECT_THROW(finish(second), PTYProcessError);
    EXPECT_EQ(log->exitCode(), 137);
}

TEST_F(PTYProcessWriteTest, AnExitEndsTheWaitThoughAGrandchildHoldsTheTerminal) {
    rawShell("trap '' HUP; sleep 1000 & printf '%s.' $!; read word </dev/null; head -c 1 >/dev/null");
    const pid_t grandchild = std::stoi(log->outputWith(".").substr(sizeof("ready")));
    auto written = startWriting(std::string(1 << 20, 'x'));
    EXPECT_THROW(finish(written), PTYProcessError);
    log->exitCode();
    ::kill(grandchild, SIGKILL);
}

TEST_F(PTYProcessWriteTest, TheWaitForATerminalThatTheChildHasClosedIsNoWork) {
    ASSERT_EQ(::mkfifo((directory / "released").c_str(), 0600), 0);
    shell("stty raw -echo; exec <&- >&- 2>&-; read word <released");
    std::ofstream released(directory / "released");  // opens once the child reads, hence without its terminal
    auto written = startWriting(std::string(1 << 20, 'x'));
    const auto before = readerWork();
    lastingLoop().restart();
    lastingLoop().run_for(std::chrono::milliseconds(500));
    EXPECT_LT(readerWork() - before, std::chrono::milliseconds(100));
    terminate(TerminationMode::kill);
    EXPECT_THROW(finish(written), PTYProcessError);
}

TEST_F(PTYProcessWriteTest, DroppingTheSessionEndsTheWait) {
    rawShell("sleep 1000");
    auto written = startWriting(std::string(1 << 20, 'x'));
    readerQueue.stop();
    readerQueue.join();
    process->hangUp();
    EXPECT_THROW(finish(written), PTYProcessError);
}

TEST_F(PTYProcessWriteTest, WhileAWriteWaitsTheSessionCanBeResizedAndAskedAbout) {
    rawShell("sleep 1000");
    auto written = startWriting(std::string(1 << 20, 'x'));
    boost::asio::post(readerQueue, boost::asio::use_future([] {})).get();  // now the terminal is full
    process->resize(100, 40);
    EXPECT_TRUE(process->snapshot());
    terminate(TerminationMode::kill);
    EXPECT_THROW(finish(written), PTYProcessError);
}

TEST_F(PTYProcessWriteTest, AWriteThatRacesWithTheExitEitherSucceedsOrSaysThatNothingRuns) {
    for (int round = 0; round < 40; ++round) {
        shell("exit 0");
        try {
            write("text");
        } catch (const PTYProcessError& error) {
            ASSERT_EQ(error.kind(), PTYProcessError::Case::sessionNotRunning);
        }
        ASSERT_EQ(log->exitCode(), 0);
    }
}

}  // namespace
}  // namespace quernlight
