#pragma once

#include <chrono>
#include <cstddef>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/basic_stream.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket.hpp>

#include "host/control/control_channel.hpp"

namespace quernlight::host {

using ControlStream = boost::beast::basic_stream<boost::asio::generic::stream_protocol>;

/// Of both sides of a channel.
struct ChannelLimits {
    std::size_t largestMessage = std::size_t{1} << 20U;  ///< that is received, in bytes
    std::chrono::seconds silence{60};  ///< pinged after half of it, given up after all of it
};

/// A channel over the connection of a request that asked for it, or that is to be asked for it.
class WebSocketChannel final : public ControlChannel {
  public:
    WebSocketChannel(ControlStream stream, ChannelLimits limits);

    /// Answers the request for an upgrade; whether that could be sent.
    Task<bool> accept(boost::beast::http::request<boost::beast::http::string_body> request);

    /// Asks for an upgrade. A refusal is returned as it came, else the answer's status is 101.
    Task<boost::beast::http::response<boost::beast::http::string_body>> ask(std::string target);

    Task<std::optional<ControlFrame>> receive() override;
    Task<bool> send(ControlFrame frame) override;
    Task<void> close(Ending ending) override;

    /// Ends it without a word.
    void drop();

  private:
    boost::beast::websocket::stream<ControlStream> stream_;
    const std::chrono::seconds silence_;
    boost::beast::flat_buffer received_;
    bool isClosed_ = false;
};

}  // namespace quernlight::host
