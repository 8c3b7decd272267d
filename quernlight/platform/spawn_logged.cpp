#include "quernlight/platform/spawn_logged.hpp"

#include <exception>
#include <iostream>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

namespace quernlight {
namespace {

void reportFailure(const std::string& name, const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const boost::system::system_error& error) {
        if (error.code() != boost::asio::error::operation_aborted) {
            std::cerr << name + ": " + error.what() + "\n";
        }
    } catch (const std::exception& error) {
        std::cerr << name + ": " + error.what() + "\n";
    }
}

}  // namespace

void spawnLogged(boost::asio::any_io_executor executor, std::string name, Task<void> work) {
    boost::asio::co_spawn(std::move(executor), std::move(work),
                          [name = std::move(name)](const std::exception_ptr& failure) {
                              if (failure) {
                                  reportFailure(name, failure);
                              }
                          });
}

}  // namespace quernlight
