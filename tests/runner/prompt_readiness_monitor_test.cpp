#include "quernlight/runner/prompt_readiness_monitor.hpp"

#include <chrono>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_future.hpp>
#include <gtest/gtest.h>

#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

using std::chrono::milliseconds;

/// A monitor on the wall clock, as the runner uses it.
class PromptReadinessMonitorTest : public testing::Test {
  protected:
    static constexpr milliseconds poll{1};
    static PromptReadinessConfiguration sentinelOnly() { return {.sentinelRequiresQuiet = false}; }

    boost::asio::io_context io_;
};

TEST_F(PromptReadinessMonitorTest, TheWaitEndsAtOnceWhenTheMaximumDelayHasPassed) {
    PromptReadinessMonitor monitor(currentInstant() - std::chrono::hours(1), sentinelOnly());
    EXPECT_NO_THROW(test::runTask(io_, monitor.waitUntilReady(std::chrono::hours(1))));
}

TEST_F(PromptReadinessMonitorTest, TheWaitEndsWhenOutputArrivesThatMakesItReady) {
    PromptReadinessMonitor monitor(currentInstant(), {.maxDelay = 3600, .sentinelRequiresQuiet = false});
    boost::asio::post(io_, [&] { monitor.recordOutput("›", currentInstant()); });
    EXPECT_NO_THROW(test::runTask(io_, monitor.waitUntilReady(poll)));
    EXPECT_TRUE(monitor.isReady(currentInstant()));
}

/// The output comes behind the first look, so that there is a second one.
TEST_F(PromptReadinessMonitorTest, TheWaitLooksAgainAfterThePollInterval) {
    PromptReadinessMonitor monitor(currentInstant(), {.maxDelay = 3600, .sentinelRequiresQuiet = false});
    const auto beginning = std::chrono::steady_clock::now();
    auto waited =
        boost::asio::co_spawn(io_, monitor.waitUntilReady(milliseconds(100)), boost::asio::use_future);
    boost::asio::post(io_, [&] { monitor.recordOutput("›", currentInstant()); });
    io_.run_for(test::generousBound);
    waited.get();
    EXPECT_GE(std::chrono::steady_clock::now() - beginning, milliseconds(100));
}

TEST_F(PromptReadinessMonitorTest, CancellationEndsTheWait) {
    PromptReadinessMonitor monitor(currentInstant(), {.maxDelay = 3600});
    boost::asio::cancellation_signal cancellation;
    auto ended = boost::asio::co_spawn(
        io_, monitor.waitUntilReady(std::chrono::hours(1)),
        boost::asio::bind_cancellation_slot(cancellation.slot(), boost::asio::use_future));
    boost::asio::post(io_, [&] { cancellation.emit(boost::asio::cancellation_type::terminal); });
    io_.run_for(test::generousBound);
    try {
        ended.get();
        FAIL() << "the wait went on";
    } catch (const boost::system::system_error& error) {
        EXPECT_EQ(error.code(), boost::asio::error::operation_aborted);
    }
}

}  // namespace
}  // namespace quernlight
