#include "quernlight/platform/child_task.hpp"

#include <utility>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "quernlight/platform/task.hpp"

namespace quernlight {

ChildTask::ChildTask(const boost::asio::any_io_executor& executor, std::string name, Task<void> work)
    : state_(std::make_shared<State>()) {
    auto whenEnded = [state = state_, name = std::move(name)](const std::exception_ptr& failure) {
        reportFailure(name, failure);
        state->running = false;
        state->ended.notify();
    };
    boost::asio::co_spawn(executor, std::move(work),
                          boost::asio::bind_cancellation_slot(state_->cancel.slot(), std::move(whenEnded)));
}

ChildTask::~ChildTask() {
    if (state_->running) {
        state_->cancel.emit(boost::asio::cancellation_type::terminal);
    }
}

Task<void> ChildTask::end() {
    if (state_->running) {
        state_->cancel.emit(boost::asio::cancellation_type::terminal);
    }
    const auto executor = co_await boost::asio::this_coro::executor;
    co_await boost::asio::co_spawn(executor, awaitEnd(state_), boost::asio::use_awaitable);
}

Task<void> ChildTask::awaitEnd(std::shared_ptr<State> state) {
    co_await boost::asio::this_coro::reset_cancellation_state(boost::asio::disable_cancellation());
    while (state->running) {
        co_await state->ended.wait();
    }
}

}  // namespace quernlight
