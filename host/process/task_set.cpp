#include "host/process/task_set.hpp"

#include <utility>
#include <vector>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

namespace quernlight::host {
namespace {

bool isCancellation(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const boost::system::system_error& thrown) {
        return thrown.code() == boost::asio::error::operation_aborted;
    } catch (...) {
        return false;
    }
}

}  // namespace

TaskSet::TaskSet(boost::asio::any_io_executor executor, ErrorHandler onError)
    : executor_(std::move(executor)), state_(std::make_shared<State>()) {
    state_->onError = std::move(onError);
}

void TaskSet::add(std::string name, Task<void> work) {
    const std::size_t number = state_->nextNumber++;
    const auto cancel = std::make_shared<boost::asio::cancellation_signal>();
    state_->running.emplace(number, cancel);
    auto whenEnded = [state = state_, number, cancel,
                      name = std::move(name)](const std::exception_ptr& error) {
        state->running.erase(number);
        state->ended.notify();
        if (error && !isCancellation(error)) {
            state->onError(name, error);
        }
    };
    boost::asio::co_spawn(executor_, std::move(work),
                          boost::asio::bind_cancellation_slot(cancel->slot(), std::move(whenEnded)));
}

void TaskSet::cancelAll() {
    std::vector<std::shared_ptr<boost::asio::cancellation_signal>> signals;
    for (const auto& [number, cancel] : state_->running) {
        signals.push_back(cancel);
    }
    for (const auto& cancel : signals) {
        cancel->emit(boost::asio::cancellation_type::terminal);
    }
}

Task<void> TaskSet::end() {
    cancelAll();
    const auto executor = co_await boost::asio::this_coro::executor;
    co_await boost::asio::co_spawn(executor, awaitAll(state_), boost::asio::use_awaitable);
}

Task<void> TaskSet::awaitAll(std::shared_ptr<State> state) {
    co_await boost::asio::this_coro::reset_cancellation_state(boost::asio::disable_cancellation());
    while (!state->running.empty()) {
        co_await state->ended.wait();
    }
}

}  // namespace quernlight::host
