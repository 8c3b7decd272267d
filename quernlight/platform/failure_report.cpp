#include "quernlight/platform/failure_report.hpp"

#include <iostream>

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

namespace quernlight {

void reportFailure(const std::string& name, const std::exception_ptr& failure) noexcept {
    if (!failure) {
        return;
    }
    try {
        std::rethrow_exception(failure);
    } catch (const boost::system::system_error& error) {
        if (error.code() != boost::asio::error::operation_aborted) {
            std::cerr << name + ": " + error.what() + "\n";
        }
    } catch (const std::exception& error) {
        std::cerr << name + ": " + error.what() + "\n";
    } catch (...) {
        std::cerr << name + ": an exception of an unknown kind\n";
    }
}

}  // namespace quernlight
