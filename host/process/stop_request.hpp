#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <utility>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "quernlight/platform/task.hpp"

namespace quernlight::host {

enum class StopLevel {
    none,
    stop,  ///< end soon, in order
    kill,  ///< end at once
};

/// The wish that the program ends, which only rises. The program owns one; whatever works for long borrows
/// it. Used on one executor.
class StopRequest {
    using Listeners = std::map<std::size_t, std::function<void()>>;

  public:
    /// Keeps a listener for as long as it lives; may outlive the request.
    class Subscription {
      public:
        Subscription(std::weak_ptr<Listeners> listeners, std::size_t number)
            : listeners_(std::move(listeners)), number_(number) {}
        Subscription(const Subscription&) = delete;
        Subscription& operator=(const Subscription&) = delete;
        ~Subscription();

      private:
        std::weak_ptr<Listeners> listeners_;
        std::size_t number_;
    };

    StopRequest() = default;
    StopRequest(const StopRequest&) = delete;
    StopRequest& operator=(const StopRequest&) = delete;

    /// Tells the listeners, in the order of their coming, if it is more than was wished for so far.
    void raise(StopLevel level);

    StopLevel level() const { return level_; }
    bool isStopping() const { return level_ >= StopLevel::stop; }
    bool isKilling() const { return level_ >= StopLevel::kill; }

    /// Calls the listener at each rise.
    [[nodiscard]] Subscription onRise(std::function<void()> listener);

    /// The work's result. Once the wish has risen to `level` the work is cancelled, or not begun, and
    /// system_error (operation_aborted) is thrown.
    template <class Result>
    Task<Result> unlessRaised(StopLevel level, Task<Result> work) {
        throwIfRaised(level);
        const auto executor = co_await boost::asio::this_coro::executor;
        const auto cancel = std::make_shared<boost::asio::cancellation_signal>();
        const Subscription subscription = onRise([this, level, cancel] {
            if (level_ >= level) {
                cancel->emit(boost::asio::cancellation_type::terminal);
            }
        });
        co_return co_await boost::asio::co_spawn(
            executor, std::move(work),
            boost::asio::bind_cancellation_slot(cancel->slot(), boost::asio::use_awaitable));
    }

  private:
    void throwIfRaised(StopLevel level) const;

    StopLevel level_ = StopLevel::none;
    std::size_t lastNumber_ = 0;
    const std::shared_ptr<Listeners> listeners_ = std::make_shared<Listeners>();
};

}  // namespace quernlight::host
