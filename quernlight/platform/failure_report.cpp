#include "quernlight/platform/failure_report.hpp"

#include <iostream>

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include "quernlight/platform/control_characters.hpp"

namespace quernlight {

namespace {

void write(const std::string& name, const std::exception& error) {
    constexpr std::size_t mostShown = 300;
    std::cerr << escapedLine(name, mostShown) + ": " + escapedLine(error.what(), mostShown) + "\n";
}

}  // namespace

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
        std::cerr << name + ": an exception of an unknown kind\n";
    }
}

}  // namespace quernlight
