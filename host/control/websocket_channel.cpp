#include "host/control/websocket_channel.hpp"

#include <tuple>
#include <utility>

#include <boost/asio/error.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/system/system_error.hpp>

namespace quernlight::host {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;

constexpr auto quietly = asio::as_tuple(asio::use_awaitable);
constexpr std::chrono::seconds longestHandshake{20};
constexpr std::chrono::seconds longestClosing{1};

websocket::stream_base::timeout timeouts(std::chrono::seconds handshake, std::chrono::seconds silence) {
    return {.handshake_timeout = handshake, .idle_timeout = silence, .keep_alive_pings = true};
}

}  // namespace

WebSocketChannel::WebSocketChannel(ControlStream stream, ChannelLimits limits)
    : stream_(std::move(stream)), silence_(limits.silence) {
    stream_.next_layer().expires_never();
    stream_.set_option(timeouts(longestHandshake, silence_));
    stream_.read_message_max(limits.largestMessage);
    stream_.auto_fragment(false);
}

Task<bool> WebSocketChannel::accept(http::request<http::string_body> request) {
    const auto [error] = co_await stream_.async_accept(request, quietly);
    co_return !error;
}

Task<http::response<http::string_body>> WebSocketChannel::ask(std::string target) {
    http::response<http::string_body> response;
    const auto [error] = co_await stream_.async_handshake(response, "localhost", target, quietly);
    if (error && error != websocket::error::upgrade_declined) {
        throw boost::system::system_error(error);
    }
    co_return response;
}

Task<std::optional<ControlFrame>> WebSocketChannel::receive() {
    const auto [error, size] = co_await stream_.async_read(received_, quietly);
    if (error) {
        co_return std::nullopt;
    }
    ControlFrame frame{.isText = stream_.got_text(), .bytes = beast::buffers_to_string(received_.data())};
    received_.consume(received_.size());
    co_return frame;
}

Task<bool> WebSocketChannel::send(ControlFrame frame) {
    stream_.binary(!frame.isText);
    const auto [error, size] = co_await stream_.async_write(asio::buffer(frame.bytes), quietly);
    co_return !error;
}

Task<void> WebSocketChannel::close(Ending ending) {
    if (!std::exchange(isClosed_, true)) {
        stream_.set_option(timeouts(longestClosing, silence_));
        const auto code = static_cast<websocket::close_code>(ending);
        const websocket::close_reason reason(code);
        co_await stream_.async_close(reason, quietly);
        drop();
    }
}

void WebSocketChannel::drop() {
    stream_.next_layer().close();
}

}  // namespace quernlight::host
