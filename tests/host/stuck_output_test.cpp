#include <csignal>

#include <pty.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>
#include <gtest/gtest.h>

#include "quernlight/storage/database_error.hpp"
#include "tests/host/dispatch_fixture.hpp"
#include "tests/host/full_pipe.hpp"

namespace quernlight {
namespace {

using test::eventually;

/// A run that works on bug 3f2a9c1d for ever, while nobody takes what it prints.
class StuckOutputTest : public test::DispatchFixture {
  protected:
    StuckOutputTest() {
        reportClearBug("3f2a9c1d");
        agentDoes("3f2a9c1d", "idle");
        mapApp();
        startBackend();
    }

    void start(test::DispatchProcess::Launch launch) {
        launch.environment = environment;
        launch.output = repository.scratch("stuck");
        program_ = std::make_unique<test::DispatchProcess>(launch);
    }

    bool works() {
        return eventually([this] { return hasTyped(); });
    }

    /// Its status after two signals to end it. They are the same one, for of two that wait to be delivered
    /// together the kernel lets either handler run first, and the first decides the status.
    int exitCodeAfterTwoSignals() {
        program_->signal(SIGINT);
        program_->signal(SIGINT);
        return program_->exitCode();
    }

  private:
    bool hasTyped() {
        try {
            return history("3f2a9c1d").ends_with(" typed");
        } catch (const DatabaseError&) {
            return false;  // it is being made
        }
    }

    std::unique_ptr<test::DispatchProcess> program_;
};

TEST_F(StuckOutputTest, AFullPipeHoldsUpNeitherTheWorkNorItsEnd) {
    const test::FullPipe pipe;
    start({.arguments = runWith(), .standardOutput = pipe.writingEnd()});
    ASSERT_TRUE(works());
    EXPECT_EQ(exitCodeAfterTwoSignals(), 130);
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    EXPECT_FALSE(test::isAlive(agent("3f2a9c1d")));
}

TEST_F(StuckOutputTest, ATerminalHeldByControlSHoldsUpNeitherTheWorkNorItsEnd) {
    for (const std::vector<std::string>& more : {std::vector<std::string>{"--log-json"}, {}}) {
        int master = -1;
        int slave = -1;
        ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
        const FileDescriptor ends[] = {FileDescriptor(master), FileDescriptor(slave)};
        ASSERT_EQ(tcflow(slave, TCOOFF), 0);
        start({.arguments = runWith(more), .terminal = ttyname(slave)});
        ASSERT_TRUE(works());
        EXPECT_EQ(exitCodeAfterTwoSignals(), 130);
        EXPECT_EQ(status("3f2a9c1d"), "queued");
    }
}

TEST_F(StuckOutputTest, ALogFileMayBeAPipeThatNobodyReads) {
    const std::string fifo = repository.scratch("log");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    start({.arguments = runWith({"--log-file", fifo})});
    ASSERT_TRUE(works());
    EXPECT_EQ(exitCodeAfterTwoSignals(), 130);
}

}  // namespace
}  // namespace quernlight
