#pragma once

#include <filesystem>

#include <sys/types.h>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/generic/stream_protocol.hpp>

namespace quernlight::host {

/// Of whatever kind of socket.
using ControlAcceptor = boost::asio::basic_socket_acceptor<boost::asio::generic::stream_protocol>;

/// Where the owner of a home listens: "control.sock" in it.
std::filesystem::path controlSocketPath(const std::filesystem::path& home);

bool isTooLongForSocket(const std::filesystem::path& path);

/// The owner's end: a Unix socket for its user alone (0600), whose file lives as long as this. The home's
/// lock must be held: a socket that is there already is one that a dead owner left behind, and is replaced.
class ControlSocket {
  public:
    /// Listens from now on. Throws UserError: the path is too long for a socket, something else lies there,
    /// or the home cannot be written.
    ControlSocket(const boost::asio::any_io_executor& executor, const std::filesystem::path& home);
    ControlSocket(const ControlSocket&) = delete;
    ControlSocket& operator=(const ControlSocket&) = delete;

    /// Removes the file, unless another owner has put its own there since.
    ~ControlSocket();

    ControlAcceptor& acceptor() { return acceptor_; }

  private:
    const std::filesystem::path path_;
    ControlAcceptor acceptor_;
    dev_t device_{};
    ino_t file_{};
};

}  // namespace quernlight::host
