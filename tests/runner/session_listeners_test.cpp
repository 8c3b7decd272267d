#include <atomic>
#include <thread>

#include <boost/asio/io_context.hpp>

#include "quernlight/platform/task.hpp"
#include "tests/runner/codex_runner_fixture.hpp"

namespace quernlight {
namespace {

using namespace test;

/// Listeners that come early or late, leave, or never read.
class SessionListenersTest : public CodexRunnerFixture {
  protected:
    /// A child that writes that many bytes, which is far more than a terminal holds.
    static std::string flood(int bytes) {
        return "stty -opost; head -c " + std::to_string(bytes) + " /dev/zero | tr '\\0' x";
    }
};

TEST_F(SessionListenersTest, AListenerFromBeforeTheStartHearsStartedOutputAndExitedAndThenTheEnd) {
    EventLog log = listen();
    shell("printf text");
    EXPECT_EQ(log.wholeOutput(), "text");
    EXPECT_EQ(log.kinds(), "SOX");
}

TEST_F(SessionListenersTest, AListenerFromAfterTheExitHearsNothingAndItsStreamDoesNotEnd) {
    EventLog log = listen();
    shell("exit 0");
    log.wholeOutput();
    auto late = runner->events(sessionID);
    EXPECT_FALSE(awaitResult(late.nextUntil(std::chrono::steady_clock::now())));
    EXPECT_FALSE(late.ended());
}

Task<void> readOne(EventStream<RunnerEvent>& events) {
    co_await events.next();
}

TEST_F(SessionListenersTest, ARunnerMayOutliveTheEventLoopInWhichAListenerWaits) {
    auto events = runner->events(sessionID);
    auto loop = std::make_unique<boost::asio::io_context>();
    spawnLogged(loop->get_executor(), "listener", readOne(events));
    loop->poll();
    loop.reset();
    shell("printf text");  // delivered to nobody who waits
    runner.reset();        // which ends the stream
    EXPECT_TRUE(awaitResult(events.next()).has_value());
}

TEST_F(SessionListenersTest, AListenerThatComesLateHearsOnlyWhatHappensAfterwards) {
    EventLog first = listen();
    shell("printf early; read word; printf \"late $word\"");
    first.outputWith("early");
    EventLog second = listen();
    send("word\n");
    EXPECT_NE(second.wholeOutput().find("late word"), std::string::npos);
    EXPECT_EQ(second.wholeOutput().find("early"), std::string::npos);
    EXPECT_EQ(second.kinds(), "OX");
}

TEST_F(SessionListenersTest, AStreamThatOutlivesTheRunnerIsHarmless) {
    auto stream = runner->events(sessionID);
    runner.reset();
    EXPECT_FALSE(awaitResult(stream.next()));
}

TEST_F(SessionListenersTest, AListenerThatComesAfterTheExitHearsTheNextSessionOfThatId) {
    EventLog first = listen();
    shell("printf first");
    first.wholeOutput();
    EventLog next = listen();
    shell("printf next");
    EXPECT_EQ(next.wholeOutput(), "next");
    EXPECT_EQ(next.kinds(), "SOX");
}

TEST_F(SessionListenersTest, AListenerOfAnotherSessionHearsNothing) {
    auto other = runner->events(randomUuid());
    EventLog log = listen();
    shell("printf text");
    log.wholeOutput();
    EXPECT_FALSE(awaitResult(other.nextUntil(std::chrono::steady_clock::now())));
    EXPECT_FALSE(other.ended());
}

TEST_F(SessionListenersTest, AListenerThatLeavesBeforeTheStartIsForgotten) {
    { const auto leaving = runner->events(sessionID); }
    EventLog log = listen();
    shell("printf text");
    EXPECT_EQ(log.wholeOutput(), "text");
    EXPECT_EQ(log.kinds(), "SOX");
}

TEST_F(SessionListenersTest, OfThreeListenersOnlyTheOneThatLeavesIsTakenOff) {
    EventLog first = listen();
    auto leaving = std::make_unique<EventLog>(listen());
    EventLog last = listen();
    shell("printf ready; read word; printf done");
    leaving->outputWith("ready");
    leaving.reset();
    send("\n");
    for (EventLog* staying : {&first, &last}) {
        EXPECT_TRUE(staying->wholeOutput().ends_with("done"));
        EXPECT_EQ(staying->kinds(), "SOX");
    }
}

TEST_F(SessionListenersTest, AListenerThatNeverReadsHoldsNobodyUpAndFindsAllThereInTheEnd) {
    auto sleeping = runner->events(sessionID);
    EventLog reading = listen();
    shell(flood(1'000'000));
    EXPECT_EQ(reading.wholeOutput(), std::string(1'000'000, 'x'));
    EventLog late(std::move(sleeping));
    EXPECT_EQ(late.wholeOutput(), std::string(1'000'000, 'x'));
    EXPECT_EQ(late.kinds(), "SOX");
}

TEST_F(SessionListenersTest, ListenersThatComeAndGoDuringAFloodTakeNothingFromTheOneThatStays) {
    EventLog staying = listen();
    std::atomic<bool> over = false;
    std::thread passers([&] {
        while (!over) {
            const auto passing = runner->events(sessionID);
        }
    });
    shell(flood(1'000'000));
    EXPECT_EQ(staying.wholeOutput(), std::string(1'000'000, 'x'));
    over = true;
    passers.join();
    EXPECT_EQ(staying.kinds(), "SOX");
}

/// An agent that writes faster than anybody reads waits, and nothing of what it writes is lost.
TEST_F(SessionListenersTest, OutputStaysInTheTerminalWhileTooMuchOfItWaits) {
    constexpr std::size_t most = 4;
    constexpr std::size_t written = 1000000;
    runner->readWhileFewerWait(most);
    EventStream<RunnerEvent> stream = runner->events(sessionID);
    shell(flood(static_cast<int>(written)));
    std::size_t bytes = 0;
    while (auto event = awaitResult(stream.next())) {
        EXPECT_LE(stream.continuation().waiting(), most + 2);  // the start and the exit come in any case
        bytes += event->output() ? event->output()->bytes.size() : 0;
    }
    EXPECT_EQ(bytes, written);
    EXPECT_EQ(std::filesystem::file_size(request.transcriptANSIPath), written);
}

}  // namespace
}  // namespace quernlight
