#include "quernlight/platform/async_signal.hpp"

#include <cassert>
#include <exception>
#include <mutex>
#include <utility>

#include <boost/asio/associated_cancellation_slot.hpp>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace quernlight {
namespace asio = boost::asio;
namespace {

/// A suspended coroutine, whatever the type of its handler.
class Waiter {
  public:
    Waiter() = default;
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;
    virtual ~Waiter() = default;
    virtual void resume(boost::system::error_code error) = 0;
};

template <class Handler>
class HandlerWaiter final : public Waiter {
  public:
    explicit HandlerWaiter(Handler handler) : handler_(std::move(handler)) {}

    void resume(boost::system::error_code error) override {
        auto executor = asio::get_associated_executor(handler_);
        asio::post(executor, [handler = std::move(handler_), error]() mutable {
            // The slot belongs to the waiter's executor, so it is cleared there and nowhere else.
            asio::get_associated_cancellation_slot(handler).clear();
            std::move(handler)(error);
        });
    }

  private:
    Handler handler_;
};

}  // namespace

/// Waiters are resumed under the lock, which a resumed coroutine takes before it goes on: by then the
/// resuming thread is out of the coroutine's executor, whose context may end with the coroutine.
struct AsyncSignal::State {
    std::mutex lock;
    bool pending = false;
    std::unique_ptr<Waiter> waiter;

    void notify() {
        const std::lock_guard guard(lock);
        pending = waiter == nullptr;
        resumeWaiter({});
    }

    void cancel() {
        const std::lock_guard guard(lock);
        resumeWaiter(asio::error::operation_aborted);
    }

    void suspend(std::unique_ptr<Waiter> suspended) {
        const std::lock_guard guard(lock);
        assert(!waiter && "one coroutine waits at a time");
        waiter = std::move(suspended);
        if (std::exchange(pending, false)) {
            resumeWaiter({});
        }
    }

  private:
    void resumeWaiter(boost::system::error_code error) {
        if (const auto resumed = std::move(waiter)) {
            resumed->resume(error);
        }
    }
};

AsyncSignal::AsyncSignal() : state_(std::make_shared<State>()) {}

void AsyncSignal::notify() const {
    state_->notify();
}

Task<void> AsyncSignal::wait() const {
    auto initiation = [state = state_](auto handler) {
        auto slot = asio::get_associated_cancellation_slot(handler);
        if (slot.is_connected()) {
            slot.assign([weak = std::weak_ptr(state)](asio::cancellation_type) {
                if (auto live = weak.lock()) {
                    live->cancel();
                }
            });
        }
        state->suspend(std::make_unique<HandlerWaiter<decltype(handler)>>(std::move(handler)));
    };
    std::exception_ptr cancelled;
    try {
        co_await asio::async_initiate<const asio::use_awaitable_t<>&, void(boost::system::error_code)>(
            std::move(initiation), asio::use_awaitable);
    } catch (...) {
        cancelled = std::current_exception();
    }
    const std::lock_guard resumingThreadHasLeft(state_->lock);
    if (cancelled) {
        std::rethrow_exception(cancelled);
    }
}

Task<void> AsyncSignal::waitUntil(std::chrono::steady_clock::time_point deadline) const {
    asio::steady_timer timer(co_await asio::this_coro::executor, deadline);
    timer.async_wait([state = state_](boost::system::error_code error) {
        if (!error) {
            state->notify();
        }
    });
    co_await wait();
}

}  // namespace quernlight
