#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/cancellation_signal.hpp>

#include "quernlight/platform/async_signal.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// Work that runs beside its owner and ends with it: started at once, cancelled and awaited by `end`. What
/// leaves the work as an exception goes to one handler; being cancelled is none. Used on one executor.
class TaskSet {
  public:
    using ErrorHandler = std::function<void(const std::string& name, const std::exception_ptr& error)>;

    TaskSet(boost::asio::any_io_executor executor, ErrorHandler onError);
    TaskSet(const TaskSet&) = delete;
    TaskSet& operator=(const TaskSet&) = delete;

    /// Cancels what still runs, without waiting for it.
    ~TaskSet() { cancelAll(); }

    /// `name` says in messages what the work does: "polling comments of bug 3f2a9c1d".
    void add(std::string name, Task<void> work);

    /// How many still run.
    std::size_t size() const { return state_->running.size(); }

    void cancelAll();

    /// Cancels all work and returns once it has ended, so that what it borrows may go; also when the awaiting
    /// coroutine is cancelled meanwhile.
    Task<void> end();

  private:
    struct State {
        std::map<std::size_t, std::shared_ptr<boost::asio::cancellation_signal>> running{};
        std::size_t nextNumber = 0;
        AsyncSignal ended{};
        ErrorHandler onError;
    };

    static Task<void> awaitAll(std::shared_ptr<State> state);

    const boost::asio::any_io_executor executor_;
    const std::shared_ptr<State> state_;  // shared with the work, which may end after its owner
};

}  // namespace quernlight::host
