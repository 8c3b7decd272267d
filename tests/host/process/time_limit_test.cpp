#include "host/process/time_limit.hpp"

#include <gtest/gtest.h>

#include "host/process/cancellation_source.hpp"
#include "quernlight/platform/child_task.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

Task<int> answer(int number) {
    co_return number;
}

Task<int> answerAfter(milliseconds time) {
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor, time);
    co_await timer.async_wait(boost::asio::use_awaitable);
    co_return 7;
}

TEST(TimeLimitTest, WorkThatEndsInTimeGivesItsResult) {
    EXPECT_EQ(quernlight::test::runTask(withTimeLimit(hours(1), answer(7))), 7);
    EXPECT_EQ(quernlight::test::runTask(withTimeLimit(hours(1), answerAfter(milliseconds(1)))), 7);
}

TEST(TimeLimitTest, WorkThatTakesLongerIsCancelled) {
    EXPECT_THROW(quernlight::test::runTask(withTimeLimit(milliseconds(1), answerAfter(hours(1)))),
                 TimeLimitExceeded);
}

Task<void> noteEnd(bool& cancelled) {
    try {
        co_await withTimeLimit(hours(1), answerAfter(hours(1)));
    } catch (const boost::system::system_error& error) {
        cancelled = error.code() == boost::asio::error::operation_aborted;
        throw;
    }
}

TEST(TimeLimitTest, CancellingTheCallerCancelsTheWork) {
    boost::asio::io_context io;
    bool cancelled = false;
    ChildTask task(io.get_executor(), "waiting", noteEnd(cancelled));
    io.poll();
    quernlight::test::runTask(io, task.end());
    EXPECT_TRUE(cancelled);
}

TEST(CancellationSourceTest, WorkRunsUntilTheSwitchIsPressedAndNotAfterwards) {
    CancellationSource stop;
    EXPECT_EQ(quernlight::test::runTask(stop.unlessCancelled(answer(7))), 7);
    EXPECT_FALSE(stop.isCancelled());
    stop.cancel();
    EXPECT_TRUE(stop.isCancelled());
    EXPECT_THROW(quernlight::test::runTask(stop.unlessCancelled(answer(7))), boost::system::system_error);
}

}  // namespace
}  // namespace quernlight::host
