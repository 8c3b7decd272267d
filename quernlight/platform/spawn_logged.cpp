#include "quernlight/platform/spawn_logged.hpp"

#include <utility>

#include <boost/asio/co_spawn.hpp>

#include "quernlight/platform/failure_report.hpp"

namespace quernlight {

void spawnLogged(boost::asio::any_io_executor executor, std::string name, Task<void> work) {
    boost::asio::co_spawn(
        std::move(executor), std::move(work),
        [name = std::move(name)](const std::exception_ptr& failure) { reportFailure(name, failure); });
}

}  // namespace quernlight
