#include "quernlight/platform/task.hpp"

#include <iostream>
#include <mutex>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include "quernlight/platform/control_characters.hpp"

namespace quernlight {
namespace {

constexpr std::size_t mostShown = 300;

struct Destination {
    std::mutex lock;
    FailureSink sink;
};

/// Never destroyed, since a thread may report at the very end of the program.
Destination& destination() {
    static Destination& only = *new Destination;
    return only;
}

void write(const std::string& line) {
    Destination& to = destination();
    const std::lock_guard guard(to.lock);
    if (to.sink) {
        to.sink(line);
    } else {
        std::cerr << line + "\n";
    }
}

void write(const std::string& name, const std::exception& error) {
    write(escapedLine(name, mostShown) + ": " + escapedLine(error.what(), mostShown));
}

}  // namespace

void setFailureSink(FailureSink sink) {
    Destination& to = destination();
    const std::lock_guard guard(to.lock);
    to.sink = std::move(sink);
}

void spawnLogged(boost::asio::any_io_executor executor, std::string name, Task<void> work) {
    boost::asio::co_spawn(
        std::move(executor), std::move(work),
        [name = std::move(name)](const std::exception_ptr& failure) { reportFailure(name, failure); });
}

void reportFailure(const std::string& name, const std::exception_ptr& failure) noexcept {
    if (!failure) {
        return;
    }
    try {
        std::rethrow_exception(failure);
    } catch (const boost::system::system_error& error) {
        if (error.code() != boost::asio::error::operation_aborted) {
            write(name, error);
        }
    } catch (const std::exception& error) {
        write(name, error);
    } catch (...) {
        write(escapedLine(name, mostShown) + ": an exception of an unknown kind");
    }
}

}  // namespace quernlight
