#include "quernlight/platform/event_stream.hpp"

#include <thread>

#include <boost/asio/this_coro.hpp>
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace quernlight
