#pragma once

#include <filesystem>

#include <sys/types.h>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/local/stream_protocol.hpp>

namespace quernlight::host {

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

    boost::asio::local::stream_protocol::acceptor& acceptor() { return acceptor_; }

  private:
    const std::filesystem::path path_;
    boost::asio::local::stream_protocol::acceptor acceptor_;
    dev_t device_{};
    ino_t file_{};
};

}  // namespace quernlight::host
