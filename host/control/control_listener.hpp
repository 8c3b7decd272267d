#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <boost/asio/any_io_executor.hpp>

#include "host/control/control_socket.hpp"
#include "host/control/listener_gate.hpp"

namespace quernlight::host {

/// The owner's other end: TCP on the loopback addresses 127.0.0.1 and, where the system has it, [::1], on
/// one port. Every user of the machine can connect to it, and every web page can have a browser do so: the
/// gate says which requests are taken.
class ControlListener {
  public:
    /// Listens from now on; 0 is any port. Throws UserError when another process has the port.
    ControlListener(const boost::asio::any_io_executor& executor, std::uint16_t port, std::string token);

    std::uint16_t port() const { return port_; }

    /// "http://127.0.0.1:8080".
    std::string address() const { return "http://127.0.0.1:" + std::to_string(port_); }

    ListenerGate& gate() { return gate_; }
    std::vector<ControlAcceptor>& acceptors() { return acceptors_; }

  private:
    std::vector<ControlAcceptor> acceptors_;
    const std::uint16_t port_;
    ListenerGate gate_;
};

}  // namespace quernlight::host
