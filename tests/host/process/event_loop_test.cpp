#include "host/process/event_loop.hpp"

#include <array>
#include <csignal>

#include <unistd.h>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

/// Ends when a pipe can be read, of which the event loop hears together with a signal: that one's handler is
/// queued by then, and not run.
Task<void> workThatEndsAsASignalComes() {
    const auto executor = co_await boost::asio::this_coro::executor;
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
        std::abort();
    }
    boost::asio::posix::stream_descriptor reader(executor, ends[0]);
    boost::asio::post(executor, [writer = ends[1]] {
        std::raise(SIGTERM);
        [[maybe_unused]] const ssize_t written = ::write(writer, "x", 1);
    });
    co_await reader.async_wait(boost::asio::posix::descriptor_base::wait_read, boost::asio::use_awaitable);
}

/// SIGALRM ends the program where the loop does not.
[[noreturn]] void exitAfterThatWork() {
    constexpr unsigned generousBound = 60;
    ::alarm(generousBound);
    boost::asio::io_context io;
    runWithSignals(io, workThatEndsAsASignalComes(), [](int) {});
    std::_Exit(0);
}

TEST(EventLoopDeathTest, ASignalThatComesAsTheWorkEndsHoldsUpNothing) {
    EXPECT_EXIT(exitAfterThatWork(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace quernlight::host
