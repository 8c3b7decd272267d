#include "host/process/time_limit.hpp"

#include <boost/asio/use_future.hpp>
#include <gtest/gtest.h>

#include "quernlight/platform/child_task.hpp"
#include "tests/host/stepped_clock.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

using std::chrono::hours;
using std::chrono::minutes;

class TimeLimitTest : public testing::Test {
  protected:
    Task<int> answerAfter(std::chrono::nanoseconds time) {
        co_await clock.sleepFor(time);
        co_return 7;
    }
    Task<void> noteEnd() {
        try {
            co_await withTimeLimit(clock, hours(1), answerAfter(hours(2)));
        } catch (const boost::system::system_error& error) {
            isCancelled = error.code() == boost::asio::error::operation_aborted;
            throw;
        }
    }
    /// What work that takes so long comes to within an hour.
    std::future<int> begin(std::chrono::nanoseconds time) {
        return boost::asio::co_spawn(io, withTimeLimit(clock, hours(1), answerAfter(time)),
                                     boost::asio::use_future);
    }
    static bool hasEnded(const std::future<int>& work) {
        return work.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }

    boost::asio::io_context io;
    test::SteppedClock clock{io};
    bool isCancelled = false;
};

TEST_F(TimeLimitTest, WorkThatEndsInTimeGivesItsResult) {
    auto work = begin(minutes(59));
    clock.advance(minutes(59));
    EXPECT_EQ(work.get(), 7);
}

TEST_F(TimeLimitTest, WorkThatTakesLongerIsCancelled) {
    auto work = begin(hours(2));
    clock.advance(minutes(59));
    EXPECT_FALSE(hasEnded(work));
    clock.advance(minutes(1));
    EXPECT_THROW(work.get(), TimeLimitExceeded);
    EXPECT_EQ(clock.sleepers(), 0U);
}

TEST_F(TimeLimitTest, CancellingTheCallerCancelsTheWork) {
    ChildTask task(io.get_executor(), "waiting", noteEnd());
    clock.advance(hours(0));
    quernlight::test::runTask(io, task.end());
    EXPECT_TRUE(isCancelled);
}

}  // namespace
}  // namespace quernlight::host
