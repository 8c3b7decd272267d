#include "quernlight/runner/prompt_readiness_monitor.hpp"

#include <utility>

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace quernlight {
namespace asio = boost::asio;

PromptReadinessMonitor::PromptReadinessMonitor(Instant startedAt, PromptReadinessConfiguration configuration)
    : readiness_(startedAt, std::move(configuration)) {}

void PromptReadinessMonitor::recordOutput(std::string_view bytes, Instant date) {
    const std::lock_guard guard(lock_);
    readiness_.recordOutput(bytes, date);
}

bool PromptReadinessMonitor::isReady(Instant now) const {
    const std::lock_guard guard(lock_);
    return readiness_.isReady(now);
}

Task<void> PromptReadinessMonitor::waitUntilReady(std::chrono::milliseconds pollInterval) {
    asio::steady_timer timer(co_await asio::this_coro::executor);
    while (!isReady(currentInstant())) {
        timer.expires_after(pollInterval);
        co_await timer.async_wait(asio::use_awaitable);
    }
}

}  // namespace quernlight
