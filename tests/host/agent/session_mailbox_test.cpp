#include "host/agent/session_mailbox.hpp"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/child_task.hpp"
#include "quernlight/platform/task.hpp"
#include "tests/host/stepped_clock.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;

class SessionMailboxTest : public testing::Test {
  protected:
    /// Notes the exit code of the exit that comes within ten seconds, -1 when none does.
    Task<void> awaitExit() {
        const auto event = co_await mailbox.nextUntil(clock, clock.steadyNow() + seconds(10));
        codes.push_back(event ? std::get<AgentExited>(*event).exitCode : -1);
    }
    void beginToWait() {
        spawnLogged(io.get_executor(), "waiting", awaitExit());
        clock.advance(seconds(0));
    }
    Task<void> readInto(std::optional<SessionEvent>& event) {
        event = co_await mailbox.nextUntil(clock, clock.steadyNow());
    }
    void deliver(int exitCode) { mailbox.continuation().deliver(AgentExited{.exitCode = exitCode}); }

    boost::asio::io_context io;
    test::SteppedClock clock{io};
    SessionMailbox mailbox;
    std::vector<int> codes;
};

TEST_F(SessionMailboxTest, AWaitEndsWithTheNextEvent) {
    beginToWait();
    clock.advance(seconds(9));
    EXPECT_THAT(codes, ElementsAre());
    deliver(3);
    clock.advance(seconds(0));
    EXPECT_THAT(codes, ElementsAre(3));
}

TEST_F(SessionMailboxTest, AFloodThatNobodyReadsIsOneEventAndKeepsItsEnd) {
    for (int piece = 0; piece < 1000; ++piece) {
        mailbox.continuation().deliver(OutputSeen{.lastLine = piece == 7 ? "seven" : "",
                                                  .words = std::string(512, 'x') + std::to_string(piece)});
    }
    deliver(3);
    std::optional<SessionEvent> first;
    spawnLogged(io.get_executor(), "reading", readInto(first));
    clock.advance(seconds(0));
    const OutputSeen& output = std::get<OutputSeen>(first.value());
    EXPECT_EQ(output.words.size(), OutputSeen::mostWords);
    EXPECT_THAT(output.words, testing::EndsWith("999"));
    EXPECT_EQ(output.lastLine, "seven");
    beginToWait();
    EXPECT_THAT(codes, ElementsAre(3));
}

TEST_F(SessionMailboxTest, AWaitWithoutAnEventEndsAtItsDeadline) {
    beginToWait();
    clock.advance(seconds(10));
    EXPECT_THAT(codes, ElementsAre(-1));
}

TEST_F(SessionMailboxTest, AnEventThatComesWithTheDeadlineIsNotLost) {
    beginToWait();
    deliver(1);
    deliver(2);
    clock.advance(seconds(10));
    beginToWait();
    EXPECT_THAT(codes, ElementsAre(1, 2));
}

TEST_F(SessionMailboxTest, AnEventThatCameBeforeACancellationIsNotLost) {
    ChildTask waiting(io.get_executor(), "waiting", awaitExit());
    clock.advance(seconds(0));
    deliver(1);
    quernlight::test::runTask(io, waiting.end());
    EXPECT_THAT(codes, ElementsAre(1));
}

}  // namespace
}  // namespace quernlight::host
