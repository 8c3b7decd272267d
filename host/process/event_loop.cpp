#include "host/process/event_loop.hpp"

#include <csignal>
#include <exception>
#include <memory>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

#include "host/process/held_signals.hpp"

namespace quernlight::host {
namespace {

class SignalListener : public std::enable_shared_from_this<SignalListener> {
  public:
    SignalListener(boost::asio::io_context& io, std::function<void(int)> onWish)
        : signals_(io, SIGINT, SIGTERM, SIGHUP), onWish_(std::move(onWish)) {}

    void listen() {
        signals_.async_wait([self = shared_from_this()](boost::system::error_code error, int number) {
            if (!error && !self->hasLeft_) {
                self->take(number);
                self->listen();
            }
        });
    }

    /// A signal that came just before may still be on its way to the handler, which nothing cancels any more.
    void leave() {
        hasLeft_ = true;
        signals_.cancel();
    }
    const StopSignals& wishes() const { return wishes_; }

  private:
    void take(int number) {
        const auto count = wishes_.take(number, std::chrono::steady_clock::now());
        if (count) {
            onWish_(*count);
        }
    }

    boost::asio::signal_set signals_;
    std::function<void(int)> onWish_;
    StopSignals wishes_;
    bool hasLeft_ = false;
};

Task<void> cancellable(Task<void> work, std::shared_ptr<boost::asio::cancellation_signal> interrupt) {
    const auto executor = co_await boost::asio::this_coro::executor;
    co_await boost::asio::co_spawn(
        executor, std::move(work),
        boost::asio::bind_cancellation_slot(interrupt->slot(), boost::asio::use_awaitable));
}

}  // namespace

StopSignals runWithSignals(boost::asio::io_context& io, Task<void> work, std::function<void(int)> onWish) {
    const auto signals = std::make_shared<SignalListener>(io, std::move(onWish));
    signals->listen();
    const ReleasedSignals listening;
    std::exception_ptr failure;
    boost::asio::co_spawn(io, std::move(work), [&](const std::exception_ptr& thrown) {
        failure = thrown;
        signals->leave();
    });
    io.run();
    if (failure) {
        std::rethrow_exception(failure);
    }
    return signals->wishes();
}

bool runUnlessInterrupted(boost::asio::io_context& io, Task<void> work) {
    const auto interrupt = std::make_shared<boost::asio::cancellation_signal>();
    bool interrupted = false;
    try {
        runWithSignals(io, cancellable(std::move(work), interrupt), [&](int) {
            interrupted = true;
            interrupt->emit(boost::asio::cancellation_type::terminal);
        });
    } catch (const boost::system::system_error& error) {
        if (!interrupted || error.code() != boost::asio::error::operation_aborted) {
            throw;
        }
    }
    return interrupted;
}

}  // namespace quernlight::host
