#include "host/process/clock.hpp"

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace quernlight::host {

Task<void> Clock::sleepFor(std::chrono::nanoseconds time) {
    return sleepUntil(steadyNow() + std::chrono::duration_cast<TimePoint::duration>(time));
}

Instant SystemClock::now() const {
    return currentInstant();
}

Clock::TimePoint SystemClock::steadyNow() const {
    return std::chrono::steady_clock::now();
}

Task<void> SystemClock::sleepUntil(TimePoint time) {
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor, time);
    co_await timer.async_wait(boost::asio::use_awaitable);
}

}  // namespace quernlight::host
