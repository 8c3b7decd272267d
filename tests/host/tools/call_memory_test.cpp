#include "host/tools/call_memory.hpp"

#include <stdexcept>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <gtest/gtest.h>

#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

class CallMemoryTest : public testing::Test {
  protected:
    static Task<ToolResult> made(int& count, ToolOutcome outcome) {
        ++count;
        co_return ToolResult{outcome, "call " + std::to_string(count)};
    }
    static Task<ToolResult> answeredLater(AsyncSignal answered) {
        co_await answered.wait();
        co_return ToolResult{};
    }
    static Task<ToolResult> thrown(int& count) {
        ++count;
        throw std::runtime_error("cut off");
        co_return ToolResult{};
    }
    static Task<bool> isThrown(CallMemory& memory, Task<ToolResult> call) {
        try {
            co_await memory.once("key", std::move(call));
        } catch (const std::runtime_error&) {
            co_return true;
        }
        co_return false;
    }
    std::string call(ToolOutcome outcome) {
        return test::runTask(io, memory.once("key", made(count, outcome))).result.text;
    }

    boost::asio::io_context io;
    CallMemory memory;
    int count = 0;
};

TEST_F(CallMemoryTest, OnlyWhatCertainlyChangedNothingIsMadeAgain) {
    for (const ToolOutcome outcome : {ToolOutcome::failed, ToolOutcome::refused, ToolOutcome::badArguments}) {
        call(outcome);
    }
    EXPECT_EQ(count, 3);
    EXPECT_EQ(call(ToolOutcome::done), "call 4");
    EXPECT_EQ(call(ToolOutcome::done), "call 4");
    EXPECT_EQ(count, 4);
}

TEST_F(CallMemoryTest, AnUnknownOutcomeStaysUntilItIsKnownBetter) {
    EXPECT_EQ(call(ToolOutcome::unknown), "call 1");
    EXPECT_EQ(call(ToolOutcome::done), "call 1");
    memory.correct("key", {ToolOutcome::done, "It was posted."});
    EXPECT_EQ(call(ToolOutcome::done), "It was posted.");
    memory.forget("key");
    EXPECT_EQ(call(ToolOutcome::done), "call 2");
}

TEST_F(CallMemoryTest, ACallThatIsForgottenWhileItIsUnderWayIsStillWaitedFor) {
    const AsyncSignal answered;
    boost::asio::co_spawn(io, memory.once("key", answeredLater(answered)), boost::asio::detached);
    io.poll();
    memory.forget("key");
    EXPECT_FALSE(memory.knows("key"));
    EXPECT_TRUE(memory.isAnyUnderWay());
    call(ToolOutcome::failed);
    EXPECT_TRUE(memory.isAnyUnderWay());
    answered.notify();
    io.restart();
    io.poll();
    EXPECT_FALSE(memory.isAnyUnderWay());
}

TEST_F(CallMemoryTest, ACallThatIsCutOffMayHaveBeenMade) {
    EXPECT_TRUE(test::runTask(io, isThrown(memory, thrown(count))));
    EXPECT_EQ(call(ToolOutcome::done), "The call was cut off.");
    EXPECT_EQ(count, 1);
}

TEST_F(CallMemoryTest, ARepetitionOfAKnownCallIsToldFromANewOne) {
    call(ToolOutcome::done);
    EXPECT_TRUE(memory.knows("key"));
    EXPECT_FALSE(memory.knows("another"));
}

}  // namespace
}  // namespace quernlight::host
