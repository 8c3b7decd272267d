#include "quernlight/platform/event_stream.hpp"

#include <memory>
#include <string>
#include <thread>

#include <boost/asio/this_coro.hpp>
#include <gtest/gtest.h>

#include "quernlight/platform/task.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

using std::chrono::steady_clock;
using test::runTask;

TEST(EventStreamTest, DeliversInOrderAndEndsAfterWhatWasDelivered) {
    EventStream<int> stream;
    stream.continuation().deliver(1);
    stream.continuation().deliver(2);
    stream.continuation().finish();
    stream.continuation().deliver(3);
    EXPECT_EQ(runTask(stream.next()), 1);
    EXPECT_EQ(runTask(stream.next()), 2);
    EXPECT_EQ(runTask(stream.next()), std::nullopt);
}

TEST(EventStreamTest, AnEventForSeveralStreamsIsKeptOnceUntilTheLastHasReadIt) {
    EventStream<std::string> first;
    EventStream<std::string> second;
    const auto event = std::make_shared<const std::string>("to both");
    first.continuation().deliverShared(event);
    second.continuation().deliver("before it");
    second.continuation().deliverShared(event);
    EXPECT_EQ(event.use_count(), 3);
    EXPECT_EQ(runTask(first.next()), "to both");
    EXPECT_EQ(runTask(second.next()), "before it");
    EXPECT_EQ(event.use_count(), 2);
    EXPECT_EQ(runTask(second.next()), "to both");
    EXPECT_EQ(event.use_count(), 1);
}

Task<void> readOne(EventStream<int>& stream) {
    co_await stream.next();
}

Task<void> readWhileHolding(EventStream<int>& stream, std::shared_ptr<int>) {
    co_await stream.next();
}

Task<int> sumOf(EventStream<int>& stream) {
    int sum = 0;
    while (const auto event = co_await stream.next()) {
        sum += *event;
    }
    co_return sum;
}

TEST(EventStreamTest, NothingIsLostWhenAnotherThreadDelivers) {
    EventStream<int> stream;
    std::thread producer([continuation = stream.continuation()] {
        for (int event = 1; event <= 20000; ++event) {
            continuation.deliver(event);
        }
        continuation.finish();
    });
    EXPECT_EQ(runTask(sumOf(stream)), 20000 * 20001 / 2);
    producer.join();
}

TEST(EventStreamTest, AWaitWithADeadlineEndsWithoutAnEventAndTheStreamGoesOn) {
    EventStream<int> stream;
    EXPECT_EQ(runTask(stream.nextUntil(steady_clock::now() + std::chrono::milliseconds(5))), std::nullopt);
    EXPECT_FALSE(stream.ended());
    stream.continuation().deliver(7);
    EXPECT_EQ(runTask(stream.nextUntil(steady_clock::now() + test::generousBound)), 7);
}

TEST(EventStreamTest, TellsItsProducerWhenTheReaderLeaves) {
    int told = 0;
    {
        EventStream<int> stream;
        stream.onTermination([&](const EventContinuation<int>&) { ++told; });
        EventStream<int> moved = std::move(stream);
        EXPECT_EQ(told, 0);
    }
    EXPECT_EQ(told, 1);
}

/// The context in which a coroutine waits for the next event, which never comes.
std::unique_ptr<boost::asio::io_context> contextWithReader(EventStream<int>& stream) {
    auto context = std::make_unique<boost::asio::io_context>();
    spawnLogged(context->get_executor(), "reader", readOne(stream));
    context->poll();
    return context;
}

TEST(EventStreamTest, AnEventForAReaderWhoseContextHasGoneIsHarmless) {
    EventStream<int> stream;
    contextWithReader(stream).reset();
    stream.continuation().deliver(1);
    EXPECT_EQ(runTask(stream.next()), 1);
}

TEST(EventStreamTest, AContextThatGoesTakesItsWaitingReadersWithIt) {
    const auto held = std::make_shared<int>(1);
    EventStream<int> stream;
    auto context = std::make_unique<boost::asio::io_context>();
    spawnLogged(context->get_executor(), "reader", readWhileHolding(stream, held));
    context->poll();
    EXPECT_EQ(held.use_count(), 2);
    context.reset();
    EXPECT_EQ(held.use_count(), 1);
}

TEST(EventStreamTest, AContextMayGoWhileAnotherThreadDelivers) {
    for (int round = 0; round < 200; ++round) {
        EventStream<int> stream;
        auto context = contextWithReader(stream);
        std::thread producer([continuation = stream.continuation()] { continuation.deliver(1); });
        context.reset();
        producer.join();
    }
}

}  // namespace
}  // namespace quernlight
