#include "host/event_loop.hpp"

#include <csignal>
#include <exception>
#include <memory>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/signal_set.hpp>

namespace quernlight::host {
namespace {

class SignalCounter : public std::enable_shared_from_this<SignalCounter> {
  public:
    SignalCounter(boost::asio::io_context& io, std::function<void(int)> onSignal)
        : signals_(io, SIGINT, SIGTERM, SIGHUP), onSignal_(std::move(onSignal)) {}

    void listen() {
        signals_.async_wait([self = shared_from_this()](boost::system::error_code error, int) {
            if (!error) {
                self->onSignal_(++self->count_);
                self->listen();
            }
        });
    }

    void leave() { signals_.cancel(); }

  private:
    boost::asio::signal_set signals_;
    std::function<void(int)> onSignal_;
    int count_ = 0;
};

}  // namespace

void runWithSignals(boost::asio::io_context& io, Task<void> work, std::function<void(int)> onSignal) {
    const auto signals = std::make_shared<SignalCounter>(io, std::move(onSignal));
    signals->listen();
    std::exception_ptr failure;
    boost::asio::co_spawn(io, std::move(work), [&](const std::exception_ptr& thrown) {
        failure = thrown;
        signals->leave();
    });
    io.run();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

}  // namespace quernlight::host
