#include "host/process/clock.hpp"

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "quernlight/platform/child_task.hpp"

namespace quernlight::host {
namespace {

Task<void> notifyAt(Clock& clock, Clock::TimePoint time, AsyncSignal signal) {
    co_await clock.sleepUntil(time);
    signal.notify();
}

}  // namespace

Task<void> Clock::sleepFor(std::chrono::nanoseconds time) {
    return sleepUntil(steadyNow() + std::chrono::duration_cast<TimePoint::duration>(time));
}

Task<void> Clock::waitUntil(AsyncSignal signal, TimePoint deadline) {
    const ChildTask alarm(co_await boost::asio::this_coro::executor, "waiting for a deadline",
                          notifyAt(*this, deadline, signal));
    co_await signal.wait();
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
