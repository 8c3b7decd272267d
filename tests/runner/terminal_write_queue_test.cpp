#include "quernlight/runner/terminal_write_queue.hpp"

#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/runner/open_terminal.hpp"
#include "quernlight/runner/runner_error.hpp"
#include "tests/runner/event_log.hpp"

namespace quernlight {
namespace {

/// Writes into a pipe, which is full sooner or later as a terminal is.
class TerminalWriteQueueTest : public testing::Test {
  protected:
    TerminalWriteQueueTest() {
        queue.open();
        fcntl(pipe.writing.get(), F_SETFL, O_NONBLOCK);
    }

    std::string read(std::size_t most) {
        std::string bytes(most, '\0');
        bytes.resize(static_cast<std::size_t>(::read(pipe.reading.get(), bytes.data(), most)));
        return bytes;
    }

    /// The description of what waiting for the write throws, or "taken".
    static std::string outcomeOf(const std::shared_ptr<TerminalWriteQueue::Write>& write) {
        try {
            test::awaitResult(write->taken());
        } catch (const std::exception& error) {
            return error.what();
        }
        return "taken";
    }

    Pipe pipe = openPipe();
    TerminalWriteQueue queue;
};

TEST_F(TerminalWriteQueueTest, WritesAreTakenInTheOrderInWhichTheyWereAdded) {
    const auto first = queue.add("one ");
    const auto empty = queue.add("");
    const auto second = queue.add("two");
    EXPECT_FALSE(queue.writeTo(pipe.writing.get()));
    for (const auto& write : {first, empty, second}) {
        EXPECT_EQ(outcomeOf(write), "taken");
    }
    EXPECT_EQ(read(100), "one two");
}

TEST_F(TerminalWriteQueueTest, AWriteThatDoesNotFitGoesOnWhereItStopped) {
    const auto large = queue.add(std::string(1 << 20, 'x'));
    EXPECT_TRUE(queue.writeTo(pipe.writing.get()));
    std::size_t taken = 0;
    while (taken < 1 << 20) {
        taken += read(1 << 20).size();
        queue.writeTo(pipe.writing.get());
    }
    EXPECT_EQ(taken, std::size_t{1} << 20);
    EXPECT_EQ(outcomeOf(large), "taken");
}

TEST_F(TerminalWriteQueueTest, ClosingEndsWhatIsNotDoneAndRefusesMore) {
    const auto large = queue.add(std::string(1 << 20, 'x'));
    const auto waiting = queue.add("y");
    queue.writeTo(pipe.writing.get());
    queue.close();
    EXPECT_EQ(outcomeOf(large), "Session is not running.");
    EXPECT_EQ(outcomeOf(waiting), "Session is not running.");
    EXPECT_THROW(queue.add("z"), PTYProcessError);
}

TEST_F(TerminalWriteQueueTest, BeforeItIsOpenedNothingIsAdded) {
    TerminalWriteQueue closed;
    EXPECT_THROW(closed.add("x"), PTYProcessError);
}

TEST_F(TerminalWriteQueueTest, AnErrorOfTheTerminalIsToldToEveryWriteThatMeetsIt) {
    OpenTerminal terminal = openTerminal(windowSize(80, 24));
    terminal.master.close();
    const auto first = queue.add("one");
    const auto second = queue.add("two");
    EXPECT_FALSE(queue.writeTo(terminal.slave.get()));
    EXPECT_EQ(outcomeOf(first), "Input/output error");
    EXPECT_EQ(outcomeOf(second), "Input/output error");
    const auto later = queue.add("three");
    EXPECT_FALSE(queue.writeTo(pipe.writing.get()));
    EXPECT_EQ(outcomeOf(later), "taken");
}

}  // namespace
}  // namespace quernlight
