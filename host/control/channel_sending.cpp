#include "host/control/channel_sending.hpp"

#include <exception>
#include <utility>

#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/this_coro.hpp>

#include "host/process/caught_exception.hpp"
#include "host/process/task_set.hpp"

namespace quernlight::host {
namespace {

Task<void> receiveAll(ControlChannel& channel) {
    bool isOpen = true;
    while (isOpen) {
        const auto frame = co_await channel.receive();
        isOpen = frame.has_value();
    }
}

Task<void> sendAndClose(ControlChannel& channel, Task<void> sending) {
    const std::exception_ptr failure = co_await caughtException(std::move(sending));
    co_await channel.close(ControlChannel::Ending::done);  // else its client would wait for ever
    if (failure) {
        std::rethrow_exception(failure);
    }
}

}  // namespace

Task<void> sendUntilLeft(ControlChannel& channel, std::string name, Task<void> sending) {
    TaskSet tasks(co_await boost::asio::this_coro::executor, reportFailure);
    tasks.add(std::move(name), sendAndClose(channel, std::move(sending)));
    const std::exception_ptr failure = co_await caughtException(receiveAll(channel));
    // What uses the channel must have ended also when this is cancelled.
    co_await boost::asio::this_coro::reset_cancellation_state(boost::asio::disable_cancellation());
    co_await tasks.end();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

}  // namespace quernlight::host
