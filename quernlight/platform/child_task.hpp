#pragma once

#include <memory>
#include <string>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/cancellation_signal.hpp>

#include "quernlight/platform/async_signal.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight {

/// Work that runs beside its owner and ends with it: started at once, cancelled and awaited by `end`. An
/// exception that leaves the work is told by `reportFailure`, as by `spawnLogged`. Used on one executor.
class ChildTask {
  public:
    ChildTask(const boost::asio::any_io_executor& executor, std::string name, Task<void> work);
    ChildTask(const ChildTask&) = delete;
    ChildTask& operator=(const ChildTask&) = delete;

    /// Cancels the work, if it still runs, without waiting for it.
    ~ChildTask();

    /// Cancels the work and returns once it has ended, so that what it borrows may go; also when the awaiting
    /// coroutine is cancelled meanwhile.
    Task<void> end();

  private:
    struct State {
        boost::asio::cancellation_signal cancel;
        AsyncSignal ended;
        bool running = true;
    };

    static Task<void> awaitEnd(std::shared_ptr<State> state);

    std::shared_ptr<State> state_;
};

}  // namespace quernlight
