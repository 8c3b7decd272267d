#include "quernlight/platform/child_task.hpp"

#include <stdexcept>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <gtest/gtest.h>

#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

Task<void> waitForEver(bool& ended) {
    struct AtEnd {
        bool& ended;
        ~AtEnd() { ended = true; }
    } const atEnd{ended};
    co_await AsyncSignal().wait();
}

Task<void> startAndEnd(bool& ended) {
    ChildTask child(co_await boost::asio::this_coro::executor, "child", waitForEver(ended));
    co_await boost::asio::post(co_await boost::asio::this_coro::executor, boost::asio::use_awaitable);
    EXPECT_FALSE(ended);
    co_await child.end();
}

TEST(ChildTaskTest, EndCancelsTheWorkAndReturnsOnceItHasEnded) {
    bool ended = false;
    test::runTask(startAndEnd(ended));
    EXPECT_TRUE(ended);
}

Task<void> startAndDrop(bool& ended) {
    {
        ChildTask child(co_await boost::asio::this_coro::executor, "child", waitForEver(ended));
        co_await boost::asio::post(co_await boost::asio::this_coro::executor, boost::asio::use_awaitable);
        EXPECT_FALSE(ended);
    }
    co_await boost::asio::post(co_await boost::asio::this_coro::executor, boost::asio::use_awaitable);
}

TEST(ChildTaskTest, DestructionCancelsTheWorkToo) {
    boost::asio::io_context io;
    bool ended = false;
    test::runTask(io, startAndDrop(ended));
    io.run();
    EXPECT_TRUE(ended);
}

Task<void> failAtOnce() {
    throw std::runtime_error("it broke");
    co_return;
}

Task<void> endAfterFailure() {
    ChildTask child(co_await boost::asio::this_coro::executor, "careful child", failAtOnce());
    co_await boost::asio::post(co_await boost::asio::this_coro::executor, boost::asio::use_awaitable);
    co_await child.end();
}

TEST(ChildTaskTest, AFailureOfTheWorkIsWrittenToStandardErrorAndEndsIt) {
    testing::internal::CaptureStderr();
    test::runTask(endAfterFailure());
    const std::string written = testing::internal::GetCapturedStderr();
    EXPECT_NE(written.find("careful child"), std::string::npos) << written;
    EXPECT_NE(written.find("it broke"), std::string::npos) << written;
}

Task<void> finishAtOnce() {
    co_return;
}

Task<void> endAfterFinish() {
    ChildTask child(co_await boost::asio::this_coro::executor, "child", finishAtOnce());
    co_await boost::asio::post(co_await boost::asio::this_coro::executor, boost::asio::use_awaitable);
    co_await child.end();
}

TEST(ChildTaskTest, EndingWorkThatIsOverReturnsAtOnce) {
    test::runTask(endAfterFinish());
}

}  // namespace
}  // namespace quernlight
