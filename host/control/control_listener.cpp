#include "host/control/control_listener.hpp"

#include <utility>

#include <fcntl.h>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/v6_only.hpp>

#include "host/process/user_error.hpp"

namespace quernlight::host {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

constexpr int mostTries = 20;  // to find a port that is free on both addresses

error_code listenOn(ControlAcceptor& acceptor, const tcp::endpoint& endpoint) {
    error_code error;
    acceptor.open(endpoint.protocol(), error);
    if (error) {
        return error;
    }
    fcntl(acceptor.native_handle(), F_SETFD, FD_CLOEXEC);
    acceptor.set_option(asio::socket_base::reuse_address(true), error);
    if (endpoint.protocol() == tcp::v6()) {
        acceptor.set_option(asio::ip::v6_only(true), error);
    }
    acceptor.bind(endpoint, error);
    return error ? error : (acceptor.listen(asio::socket_base::max_listen_connections, error), error);
}

std::uint16_t portOf(const ControlAcceptor& acceptor) {
    const auto bound = acceptor.local_endpoint();
    tcp::endpoint endpoint;
    endpoint.resize(bound.size());
    std::copy_n(reinterpret_cast<const std::byte*>(bound.data()), bound.size(),
                reinterpret_cast<std::byte*>(endpoint.data()));
    return endpoint.port();
}

/// Both addresses, so that nobody else is reached by the name "localhost" in their place. A system without
/// IPv6 has only the first.
error_code listenOnBoth(const asio::any_io_executor& executor, std::uint16_t port,
                        std::vector<ControlAcceptor>& acceptors) {
    acceptors.clear();
    ControlAcceptor& first = acceptors.emplace_back(executor);
    error_code error = listenOn(first, {asio::ip::address_v4::loopback(), port});
    if (error) {
        return error;
    }
    ControlAcceptor second(executor);
    error = listenOn(second, {asio::ip::address_v6::loopback(), portOf(first)});
    if (!error) {
        acceptors.push_back(std::move(second));
    }
    return error == asio::error::address_in_use ? error : error_code();
}

std::vector<ControlAcceptor> loopbackAcceptors(const asio::any_io_executor& executor, std::uint16_t port) {
    std::vector<ControlAcceptor> acceptors;
    error_code error = listenOnBoth(executor, port, acceptors);
    for (int tries = 1; port == 0 && error == asio::error::address_in_use && tries < mostTries; ++tries) {
        error = listenOnBoth(executor, port, acceptors);
    }
    if (error) {
        throw UserError("Port " + std::to_string(port) + " of this machine cannot be listened on (" +
                        error.message() + "); name another one with --listen, or 0 for any.");
    }
    return acceptors;
}

}  // namespace

ControlListener::ControlListener(const asio::any_io_executor& executor, std::uint16_t port, std::string token)
    : acceptors_(loopbackAcceptors(executor, port)),
      port_(portOf(acceptors_.front())),
      gate_(port_, std::move(token)) {}

}  // namespace quernlight::host
