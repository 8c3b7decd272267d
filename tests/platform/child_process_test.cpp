#include "quernlight/platform/child_process.hpp"

#include <csignal>
#include <future>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/use_future.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/task.hpp"
#include "tests/support/process_state.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

namespace asio = boost::asio;

ChildProcessRequest shell(const std::string& script) {
    return {.executable = "/bin/sh",
            .arguments = {"-c", script},
            .environment = {"PATH=/usr/bin:/bin"},
            .workingDirectory = {}};
}

ChildProcessResult run(ChildProcessRequest request) {
    return test::runTask(runChildProcess(std::move(request)));
}

Task<void> runAndForget(ChildProcessRequest request) {
    co_await runChildProcess(std::move(request));
}

boost::system::error_code errorOf(std::future<ChildProcessResult>& result) {
    try {
        result.get();
    } catch (const boost::system::system_error& error) {
        return error.code();
    }
    return {};
}

/// A named pipe that a child of the test's opens: it shows that the child runs and, by its end, that the
/// child and all that inherited the pipe are gone.
class LifeLine {
  public:
    LifeLine(asio::io_context& io, const std::string& path)
        : reading_(io, ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)),
          // Without a writer there would be an end before the child has opened it.
          writing_(::open(path.c_str(), O_WRONLY | O_CLOEXEC)) {}

    Task<void> started() {
        std::string line;
        co_await asio::async_read_until(reading_, asio::dynamic_buffer(line), '\n', asio::use_awaitable);
        writing_.close();
    }

    Task<std::string> line() {
        std::string text;
        co_await asio::async_read_until(reading_, asio::dynamic_buffer(text), '\n', asio::use_awaitable);
        co_return text.substr(0, text.find('\n'));
    }

    Task<void> ended() {
        std::string rest;
        boost::system::error_code end;
        co_await asio::async_read(reading_, asio::dynamic_buffer(rest),
                                  asio::redirect_error(asio::use_awaitable, end));
        EXPECT_EQ(end, asio::error::eof);
        reading_.close();
    }

  private:
    asio::posix::stream_descriptor reading_;
    FileDescriptor writing_;
};

class ChildProcessTest : public testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0); }

    /// Runs until it is killed.
    ChildProcessRequest lasting() const {
        return shell("exec 3> " + fifo + "; echo started >&3; exec sleep 1000");
    }

    test::TemporaryDirectory directory;
    const std::string fifo = (directory / "fifo").string();
    asio::io_context io;
};

TEST_F(ChildProcessTest, OutputAndErrorComeTogetherInTheOrderWritten) {
    EXPECT_EQ(run(shell("echo one; echo two >&2; echo three; exit 5")),
              (ChildProcessResult{5, "one\ntwo\nthree\n"}));
}

TEST_F(ChildProcessTest, ErrorsThatAreKeptApartAreNotMixedIntoTheOutput) {
    ChildProcessRequest request = shell("echo one; echo two >&2; echo three; exit 5");
    request.keepsErrorsApart = true;
    EXPECT_EQ(run(request), (ChildProcessResult{5, "one\nthree\n", "two\n"}));
}

TEST_F(ChildProcessTest, BothStreamsAreReadWhileItRunsSoThatNeitherFullPipeStopsIt) {
    ChildProcessRequest request =
        shell("head -c 1048576 /dev/zero | tr '\\0' x >&2; head -c 1048576 /dev/zero | tr '\\0' y");
    request.keepsErrorsApart = true;
    EXPECT_EQ(run(request), (ChildProcessResult{0, std::string(1048576, 'y'), std::string(1048576, 'x')}));
}

TEST_F(ChildProcessTest, ItReadsItsInputAndThenTheEnd) {
    ChildProcessRequest request = shell("cat; echo done");
    request.input = std::string(16384, 'x');
    EXPECT_EQ(run(request).output, request.input + "done\n");
}

TEST_F(ChildProcessTest, AnInputThatNoPipeHoldsStartsNothing) {
    ChildProcessRequest request = shell("cat");
    request.input = std::string(1 << 24, 'x');
    EXPECT_THROW(run(request), std::system_error);
}

TEST_F(ChildProcessTest, OutputThatIsDroppedGoesNowhere) {
    ChildProcessRequest request = shell("echo one; echo two >&2; [ -p /dev/fd/1 ] || exit 4");
    request.dropsOutput = true;
    EXPECT_EQ(run(request), (ChildProcessResult{4, ""}));
}

TEST_F(ChildProcessTest, ADeathBySignalIsAnExitCodeAbove128) {
    EXPECT_EQ(run(shell("kill -TERM $$")).exitCode, 128 + SIGTERM);
}

TEST_F(ChildProcessTest, EnvironmentAndWorkingDirectoryAreTheGivenOnes) {
    ChildProcessRequest request = shell("echo \"${HOME-none} $GIVEN\"; pwd -P");
    request.environment.push_back("GIVEN=given");
    request.workingDirectory = directory.path();
    EXPECT_EQ(run(request).output, "none given\n" + directory.path().string() + "\n");
}

TEST_F(ChildProcessTest, ItIsReadWhileItRunsSoThatAFullPipeDoesNotStopIt) {
    EXPECT_EQ(run(shell("head -c 1048576 /dev/zero | tr '\\0' x; exit 2")),
              (ChildProcessResult{2, std::string(1048576, 'x')}));
}

TEST_F(ChildProcessTest, ItsInputIsEmpty) {
    EXPECT_EQ(run(shell("cat; echo end")).output, "end\n");
}

TEST_F(ChildProcessTest, ArgumentsAreNotReadByAnyShell) {
    const ChildProcessRequest echo{.executable = "/bin/echo",
                                   .arguments = {"$HOME", "*", "a  b", "\"'"},
                                   .environment = {},
                                   .workingDirectory = {}};
    EXPECT_EQ(run(echo).output, "$HOME * a  b \"'\n");
}

TEST_F(ChildProcessTest, AChildWhoseExitStatusIsLostIsAFailureAndNoSuccess) {
    const test::IgnoredSignal ignored(SIGCHLD);  // then the kernel reaps every child
    for (const char* script : {"exit 0", "exit 3", "sleep 0.05"}) {
        try {
            ADD_FAILURE() << script << ": " << run(shell(script)).exitCode;
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.code(), std::errc::no_child_process);
            EXPECT_THAT(error.what(), testing::StartsWith("The exit status of /bin/sh is lost"));
        }
    }
}

TEST_F(ChildProcessTest, SeveralRunAtOnceOnSeveralThreads) {
    asio::thread_pool threads(4);
    std::vector<std::future<ChildProcessResult>> runs;
    for (int number = 0; number < 12; ++number) {
        const std::string text = std::to_string(number);
        runs.push_back(asio::co_spawn(threads, runChildProcess(shell("echo " + text + "; exit " + text)),
                                      asio::use_future));
    }
    for (int number = 0; number < 12; ++number) {
        EXPECT_EQ(runs[static_cast<std::size_t>(number)].get(),
                  (ChildProcessResult{number, std::to_string(number) + "\n"}));
    }
}

TEST_F(ChildProcessTest, AProgramThatClosesItsOutputEarlyIsStillAwaited) {
    EXPECT_EQ(run(shell("exec >&- 2>&-; read line < /dev/null; exit 9")).exitCode, 9);
}

TEST_F(ChildProcessTest, AProgramThatIsNotThereIsNamedInTheError) {
    try {
        run({.executable = "/no/such/program", .arguments = {}, .environment = {}, .workingDirectory = {}});
        FAIL() << "started";
    } catch (const std::system_error& error) {
        EXPECT_STREQ(error.what(), "Unable to start /no/such/program: No such file or directory");
    }
}

TEST_F(ChildProcessTest, CancellationKillsTheProgramAndWhatItStarted) {
    LifeLine life(io, fifo);
    asio::cancellation_signal cancel;
    auto result = asio::co_spawn(
        io, runChildProcess(shell("exec 3> " + fifo + "; sh -c 'echo started >&3; sleep 1000'; echo on")),
        asio::bind_cancellation_slot(cancel.slot(), asio::use_future));
    test::runTask(io, life.started());
    cancel.emit(asio::cancellation_type::terminal);
    test::runTask(io, life.ended());
    io.run();
    EXPECT_EQ(errorOf(result), asio::error::operation_aborted);
}

/// A reply within its last second shows that the loop was not held, and that the program still ran.
/// Its shell looks at its traps between two sleeps; a long one may have begun just after the signal.
TEST_F(ChildProcessTest, TheLoopGoesOnWhileACancelledProgramUndoesItsWork) {
    LifeLine life(io, fifo);
    asio::cancellation_signal cancel;
    auto result = asio::co_spawn(
        io,
        runChildProcess(shell("exec 3> " + fifo +
                              "; trap 'echo undoing >&3' TERM; echo $$ >&3; while :; do sleep 0.01; done")),
        asio::bind_cancellation_slot(cancel.slot(), asio::use_future));
    const pid_t child = std::stoi(test::runTask(io, life.line()));
    cancel.emit(asio::cancellation_type::terminal);
    EXPECT_EQ(test::runTask(io, life.line()), "undoing");
    EXPECT_EQ(::kill(child, 0), 0) << "the loop was held until it had ended";
    EXPECT_EQ(result.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    cancel.emit(asio::cancellation_type::terminal);  // a second wish does not cut it short
    io.restart();
    io.run();
    EXPECT_EQ(errorOf(result), asio::error::operation_aborted);
    EXPECT_NE(::kill(child, 0), 0) << "it returned before the program had ended";
}

TEST_F(ChildProcessTest, CancellationAlsoEndsAProgramWhoseErrorsAreKeptApart) {
    LifeLine life(io, fifo);
    asio::cancellation_signal cancel;
    ChildProcessRequest request = lasting();
    request.keepsErrorsApart = true;
    auto result = asio::co_spawn(io, runChildProcess(request),
                                 asio::bind_cancellation_slot(cancel.slot(), asio::use_future));
    test::runTask(io, life.started());
    cancel.emit(asio::cancellation_type::terminal);
    test::runTask(io, life.ended());
    io.run();
    EXPECT_EQ(errorOf(result), asio::error::operation_aborted);
}

TEST_F(ChildProcessTest, DestroyingTheLoopKillsTheProgramToo) {
    LifeLine life(io, fifo);
    auto loop = std::make_unique<asio::io_context>();
    spawnLogged(loop->get_executor(), "child", runAndForget(lasting()));
    loop->poll();
    test::runTask(io, life.started());
    loop.reset();
    test::runTask(io, life.ended());
}

TEST_F(ChildProcessTest, ACancelledRunLeavesNoDescriptorOpen) {
    run(shell("true"));
    const auto before = test::openDescriptorCount();
    {
        asio::io_context loop;
        LifeLine life(loop, fifo);
        asio::cancellation_signal cancel;
        auto result = asio::co_spawn(loop, runChildProcess(lasting()),
                                     asio::bind_cancellation_slot(cancel.slot(), asio::use_future));
        test::runTask(loop, life.started());
        cancel.emit(asio::cancellation_type::terminal);
        loop.run();
        EXPECT_EQ(errorOf(result), asio::error::operation_aborted);
    }
    EXPECT_EQ(test::openDescriptorCount(), before);
}

TEST_F(ChildProcessTest, AProcessLeftBehindWithTheOutputOpenDoesNotHoldUpTheResult) {
    const ChildProcessResult result = run(shell("echo said; cat " + fifo + " & exit 4"));
    EXPECT_EQ(result, (ChildProcessResult{4, "said\n"}));
    // Lets the one left behind come to its end; whoever writes into the pipe must not wait for it.
    const FileDescriptor release(::open(fifo.c_str(), O_RDWR | O_CLOEXEC));
}

TEST_F(ChildProcessTest, WhatALateWriterSaysBeforeTheEndOfThePipeIsRead) {
    const ChildProcessRequest request = shell("echo now; (read line < " + fifo + "; echo late) & exit 0");
    auto result = asio::co_spawn(io, runChildProcess(request), asio::use_future);
    io.poll();
    siginfo_t exit{};
    ASSERT_EQ(::waitid(P_ALL, 0, &exit, WEXITED | WNOWAIT), 0);  // the child has exited and is not reaped
    io.poll();                                                   // which is noticed
    const FileDescriptor release(::open(fifo.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(::write(release.get(), "\n", 1), 1);
    io.run();
    EXPECT_EQ(result.get(), (ChildProcessResult{0, "now\nlate\n"}));
}

TEST_F(ChildProcessTest, NoDescriptorIsLeftOpen) {
    run(shell("true"));
    const auto before = test::openDescriptorCount();
    for (int count = 0; count < 5; ++count) {
        run(shell("echo output"));
    }
    EXPECT_EQ(test::openDescriptorCount(), before);
}

}  // namespace
}  // namespace quernlight
