#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include "quernlight/platform/task.hpp"
#include "standin/backend/http_message.hpp"

namespace quernlight::standin {

struct ServerOptions {
    std::string name = "standin-backend";            ///< as it calls itself
    std::uint16_t port = 0;                          ///< 0: a free one
    std::uint64_t largestBody = 64 * 1024 * 1024;    ///< in bytes; a larger one is answered with 413
    std::chrono::milliseconds idleTimeout{120'000};  ///< after which a silent connection is closed
};

/// An HTTP/1.1 server on 127.0.0.1 that turns connections into request values and response values into bytes.
/// It runs on the event loop it is given, which one thread runs, and so calls `handler` for one request at a
/// time. Owned by the program; it must outlive the loop's run.
class Server {
  public:
    using Handler = std::function<Response(const Request&)>;

    /// Listens from now on. Throws boost::system::system_error when the port cannot be had.
    Server(boost::asio::io_context& io, ServerOptions options, Handler handler);

    std::uint16_t port() const;

    /// Accepts connections until the loop ends.
    Task<void> run();

  private:
    boost::asio::ip::tcp::acceptor acceptor_;
    ServerOptions options_;
    Handler handler_;
};

/// The server. Throws std::runtime_error with one sentence when the port cannot be had.
Server listenOn(boost::asio::io_context& io, const ServerOptions& options, Server::Handler handler);

/// Says where it listens on standard output and serves until SIGINT, SIGTERM or, with `exitWithStdin`, the
/// end of standard input.
void serveUntilStopped(boost::asio::io_context& io, Server& server, bool exitWithStdin);

}  // namespace quernlight::standin
