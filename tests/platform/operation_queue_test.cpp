#include "quernlight/platform/operation_queue.hpp"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <gtest/gtest.h>

#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

namespace asio = boost::asio;

class OperationQueueTest : public testing::Test {
  protected:
    Task<void> stepTwice(int operation) {
        log_.push_back(operation);
        co_await asio::post(co_await asio::this_coro::executor, asio::use_awaitable);
        log_.push_back(operation);
    }

    Task<void> fail() {
        co_await asio::post(co_await asio::this_coro::executor, asio::use_awaitable);
        throw std::runtime_error("no");
    }

    Task<void> enqueue(int operation) { co_await queue_.run(stepTwice(operation)); }

    asio::io_context io_;
    OperationQueue queue_;
    std::vector<int> log_;
};

TEST_F(OperationQueueTest, EachOperationRunsToItsEndBeforeTheNextBeginsInArrivalOrder) {
    for (int operation = 0; operation < 4; ++operation) {
        asio::co_spawn(io_, enqueue(operation), asio::detached);
    }
    io_.run();
    EXPECT_EQ(log_, (std::vector<int>{0, 0, 1, 1, 2, 2, 3, 3}));
}

TEST_F(OperationQueueTest, AFailingOperationHandsItsTurnOn) {
    EXPECT_THROW(test::runTask(io_, queue_.run(fail())), std::runtime_error);
    test::runTask(io_, enqueue(1));
    EXPECT_EQ(log_, (std::vector<int>{1, 1}));
}

TEST_F(OperationQueueTest, CancellingTheCallerDoesNotCutAnOperationInTwo) {
    asio::cancellation_signal cancel;
    asio::co_spawn(io_, enqueue(1), asio::bind_cancellation_slot(cancel.slot(), asio::detached));
    while (log_.empty()) {
        io_.run_one();
    }
    cancel.emit(asio::cancellation_type::terminal);
    io_.run();
    EXPECT_EQ(log_, (std::vector<int>{1, 1}));
}

TEST_F(OperationQueueTest, AContextThatOutlivesTheQueueMayDropItsOperations) {
    asio::io_context io;
    auto queue = std::make_unique<OperationQueue>();
    asio::co_spawn(io, queue->run(stepTwice(1)), asio::detached);
    asio::co_spawn(io, queue->run(stepTwice(2)), asio::detached);
    while (log_.empty()) {
        io.run_one();
    }
    queue.reset();  // and then the context goes, with one operation under way and one that waits
}

TEST_F(OperationQueueTest, CallersOnSeveralThreadsNeverOverlap) {
    asio::thread_pool pool(4);
    int unguarded = 0;
    auto increment = [](int& counter) -> Task<void> {
        const int before = counter;
        co_await asio::post(co_await asio::this_coro::executor, asio::use_awaitable);
        counter = before + 1;
    };
    for (int operation = 0; operation < 500; ++operation) {
        asio::co_spawn(pool, queue_.run(increment(unguarded)), asio::detached);
    }
    pool.join();
    EXPECT_EQ(unguarded, 500);
}

}  // namespace
}  // namespace quernlight
