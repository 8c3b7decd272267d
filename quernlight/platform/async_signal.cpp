#include "quernlight/platform/async_signal.hpp"

#include <cassert>
#include <exception>
#include <mutex>
#include <set>
#include <utility>

#include <boost/asio/associated_cancellation_slot.hpp>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/execution/context.hpp>
#include <boost/asio/execution_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/query.hpp>
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
struct AsyncSignal::State : std::enable_shared_from_this<State> {
    std::mutex lock;
    bool pending = false;
    std::unique_ptr<Waiter> waiter;
    Waiting* waiting = nullptr;  // of the waiter's context

    void notify() {
        const std::lock_guard guard(lock);
        pending = waiter == nullptr;
        resumeWaiter({});
    }

    void cancel() {
        const std::lock_guard guard(lock);
        resumeWaiter(asio::error::operation_aborted);
    }

    void suspend(Waiting& ofContext, std::unique_ptr<Waiter> suspended);

    /// The context goes, and the waiter with it; not under the lock, since all that its coroutine holds goes.
    void drop() {
        std::unique_ptr<Waiter> dropped;  // goes after the guard
        const std::lock_guard guard(lock);
        dropped.swap(waiter);
    }

  private:
    void resumeWaiter(boost::system::error_code error);
};

/// Who waits on one context, which shuts this down before the rest of itself. A thread that resumes a waiter
/// takes it off this list last, under the locks of both, so the context is there until it is done with it.
class AsyncSignal::Waiting final : public asio::execution_context::service {
  public:
    using key_type = Waiting;
    inline static asio::execution_context::id id;

    explicit Waiting(asio::execution_context& context) : service(context) {}

    void add(std::shared_ptr<State> state) {
        const std::lock_guard guard(lock_);
        states_.insert(std::move(state));
    }

    void remove(const std::shared_ptr<State>& state) {
        const std::lock_guard guard(lock_);
        states_.erase(state);
    }

  private:
    void shutdown() override {
        decltype(states_) states;
        {
            const std::lock_guard guard(lock_);
            states.swap(states_);
        }
        for (const auto& state : states) {
            state->drop();
        }
    }

    std::mutex lock_;
    std::set<std::shared_ptr<State>> states_;
};

void AsyncSignal::State::suspend(Waiting& ofContext, std::unique_ptr<Waiter> suspended) {
    const std::lock_guard guard(lock);
    assert(!waiter && "one coroutine waits at a time");
    waiter = std::move(suspended);
    waiting = &ofContext;
    waiting->add(shared_from_this());
    if (std::exchange(pending, false)) {
        resumeWaiter({});
    }
}

void AsyncSignal::State::resumeWaiter(boost::system::error_code error) {
    if (const auto resumed = std::move(waiter)) {
        resumed->resume(error);
        waiting->remove(shared_from_this());
    }
}

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
        auto& context = asio::query(asio::get_associated_executor(handler), asio::execution::context);
        auto& waiting = asio::use_service<Waiting>(context);
        state->suspend(waiting, std::make_unique<HandlerWaiter<decltype(handler)>>(std::move(handler)));
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
