#include "standin/backend/server.hpp"

#include <csignal>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>

#include <unistd.h>
#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include "quernlight/platform/task.hpp"

namespace quernlight::standin {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::ip::tcp;
using boost::system::error_code;

using Parser = http::request_parser<http::string_body>;
using Message = http::response<http::string_body>;

constexpr auto quietly = asio::as_tuple(asio::use_awaitable);

Request requestOf(http::request<http::string_body> message) {
    Request request;
    request.method = message.method_string();
    request.target = message.target();
    for (const auto& field : message) {
        request.headers.emplace_back(field.name_string(), field.value());
    }
    request.body = std::move(message.body());
    return request;
}

Message messageOf(Response response, bool keepAlive, const std::string& server) {
    Message message(http::int_to_status(response.status), 11);
    message.set(http::field::server, server);
    for (const auto& [name, value] : response.headers) {
        message.set(name, value);
    }
    message.keep_alive(keepAlive);
    message.body() = std::move(response.body);
    if (response.status != 204 && response.status != 304) {
        message.prepare_payload();
    }
    return message;
}

Response answerTo(const ServerOptions& options, const Server::Handler& handler, const Request& request) {
    try {
        return handler(request);
    } catch (const std::exception& error) {
        std::cerr << options.name << ": " << error.what() << std::endl;
        return errorResponse(500, error.what());
    }
}

/// Reads what remains of a refused body, for a short while: closing a connection with unread bytes would
/// reset it, and the peer might never see the answer.
Task<void> drain(beast::tcp_stream& stream) {
    error_code ignored;
    stream.socket().shutdown(tcp::socket::shutdown_send, ignored);
    stream.expires_after(std::chrono::seconds(2));
    std::string discarded(64 * 1024, '\0');
    for (error_code error; !error;) {
        std::size_t size = 0;
        std::tie(error, size) = co_await stream.async_read_some(asio::buffer(discarded), quietly);
    }
}

/// Sends all of the headers and half of the body, then hangs up.
Task<void> sendHalf(beast::tcp_stream& stream, const Message& message) {
    const std::size_t half = message.body().size() / 2;
    if (half > 0) {
        std::ostringstream head;
        head << message.base();
        const std::string bytes = head.str() + message.body().substr(0, half);
        co_await asio::async_write(stream, asio::buffer(bytes), quietly);
    }
    error_code ignored;
    stream.socket().close(ignored);
}

Task<void> wait(std::chrono::milliseconds delay) {
    asio::steady_timer timer(co_await asio::this_coro::executor, delay);
    co_await timer.async_wait(quietly);
}

/// One client's connection, request after request.
class Connection {
  public:
    Connection(tcp::socket socket, const ServerOptions& options, const Server::Handler& handler)
        : stream_(std::move(socket)), options_(options), handler_(handler) {}

    Task<void> serve() {
        bool open = true;
        while (open) {
            stream_.expires_after(options_.idleTimeout);
            Parser parser;
            parser.body_limit(options_.largestBody);
            const error_code error = co_await read(parser);
            if (!error) {
                open = co_await answer(parser);
            } else {
                co_await refuse(error);
                open = false;
            }
        }
    }

  private:
    Task<error_code> read(Parser& parser) {
        auto [error, size] = co_await http::async_read_header(stream_, buffer_, parser, quietly);
        if (!error && beast::iequals(parser.get()[http::field::expect], "100-continue")) {
            static constexpr std::string_view goOn = "HTTP/1.1 100 Continue\r\n\r\n";
            co_await asio::async_write(stream_, asio::buffer(goOn), quietly);
        }
        if (!error) {
            std::tie(error, size) = co_await http::async_read(stream_, buffer_, parser, quietly);
        }
        co_return error;
    }

    /// Whether the connection stays open.
    Task<bool> answer(Parser& parser) {
        const bool keepAlive = parser.get().keep_alive();
        Response response = answerTo(options_, handler_, requestOf(parser.release()));
        stream_.expires_never();
        if (response.delay.count() > 0) {
            co_await wait(response.delay);
        }
        const bool cut = response.cutConnection;
        Message message = messageOf(std::move(response), keepAlive, options_.name);
        if (cut) {
            co_await sendHalf(stream_, message);
            co_return false;
        }
        stream_.expires_after(options_.idleTimeout);
        const auto [error, size] = co_await http::async_write(stream_, message, quietly);
        co_return keepAlive && !error;
    }

    /// A request that could not be read: the peer that only hung up needs no answer.
    Task<void> refuse(error_code error) {
        if (error == http::error::end_of_stream || error.category() != parseErrors()) {
            co_return;
        }
        const bool large = error == http::error::body_limit;
        Message message = messageOf(large ? errorResponse(413, "The body is too large.")
                                          : errorResponse(400, "The request is not HTTP."),
                                    false, options_.name);
        co_await http::async_write(stream_, message, quietly);
        co_await drain(stream_);
    }

    static const boost::system::error_category& parseErrors() {
        return error_code(http::error::body_limit).category();
    }

    beast::tcp_stream stream_;
    beast::flat_buffer buffer_;
    const ServerOptions& options_;
    const Server::Handler& handler_;
};

Task<void> stopAtEndOfInput(asio::io_context& io) {
    asio::posix::stream_descriptor input(io, ::dup(STDIN_FILENO));
    std::string discarded(4096, '\0');
    for (error_code error; !error;) {
        std::size_t size = 0;
        std::tie(error, size) = co_await input.async_read_some(asio::buffer(discarded), quietly);
    }
    io.stop();
}

Task<void> serveConnection(tcp::socket socket, const ServerOptions& options, const Server::Handler& handler) {
    Connection connection(std::move(socket), options, handler);
    co_await connection.serve();
}

}  // namespace

Server::Server(asio::io_context& io, ServerOptions options, Handler handler)
    : acceptor_(io, tcp::endpoint(asio::ip::address_v4::loopback(), options.port)),
      options_(options),
      handler_(std::move(handler)) {}

std::uint16_t Server::port() const {
    return acceptor_.local_endpoint().port();
}

Task<void> Server::run() {
    for (;;) {
        auto [error, socket] = co_await acceptor_.async_accept(quietly);
        if (error) {
            // The peer may have gone already, or descriptors may be short for a moment.
            co_await wait(std::chrono::milliseconds(100));
            continue;
        }
        socket.set_option(tcp::no_delay(true), error);
        spawnLogged(acceptor_.get_executor(), "a connection",
                    serveConnection(std::move(socket), options_, handler_));
    }
}

Server listenOn(asio::io_context& io, const ServerOptions& options, Server::Handler handler) {
    try {
        return Server(io, options, std::move(handler));
    } catch (const boost::system::system_error& error) {
        throw std::runtime_error("The port " + std::to_string(options.port) +
                                 " on 127.0.0.1 cannot be used: " + error.code().message() + ".");
    }
}

void serveUntilStopped(asio::io_context& io, Server& server, bool exitWithStdin) {
    asio::signal_set signals(io, SIGINT, SIGTERM);
    signals.async_wait([&io](const error_code& error, int) {
        if (!error) {
            io.stop();
        }
    });
    if (exitWithStdin) {
        spawnLogged(io.get_executor(), "watching standard input", stopAtEndOfInput(io));
    }
    spawnLogged(io.get_executor(), "accepting connections", server.run());
    std::cout << "listening on http://127.0.0.1:" << server.port() << std::endl;
    io.run();
}

}  // namespace quernlight::standin
