#include "host/control/control_client.hpp"

#include <string>
#include <utility>

#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include "host/control/control_socket.hpp"
#include "host/control/other_version.hpp"
#include "host/control/websocket_channel.hpp"

namespace quernlight::host {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::local::stream_protocol;

using Stream = ControlStream;
using Message = http::request<http::string_body>;
using Parser = http::response_parser<http::string_body>;

constexpr auto quietly = asio::as_tuple(asio::use_awaitable);
constexpr std::chrono::seconds longestOpening{20};
constexpr std::size_t largestPicture = std::size_t{64} << 20U;  // as one message
constexpr std::uint64_t largestAnswer = std::uint64_t{128} << 20U;

Message messageOf(const ControlRequest& request) {
    Message message(http::string_to_verb(request.method), request.target, 11);
    message.set(http::field::host, "localhost");
    message.set(http::field::content_type, "application/json");
    if (!request.secret.empty()) {
        message.set(http::field::authorization, "Bearer " + request.secret);
    }
    message.keep_alive(false);
    message.body() = request.body;
    message.prepare_payload();
    return message;
}

Task<void> connect(Stream& stream, const std::filesystem::path& home) {
    boost::system::error_code error;
    const std::string path = controlSocketPath(home).string();
    if (isTooLongForSocket(path)) {
        error = asio::error::name_too_long;
    } else {
        const Stream::endpoint_type endpoint = stream_protocol::endpoint(path);
        std::tie(error) = co_await stream.async_connect(endpoint, quietly);
    }
    if (error) {
        throw OwnerNotRunning("The dispatcher is not running (" + path + ": " + error.message() +
                              "). Start it with: quernlight-dispatch run");
    }
}

ControlResponse responseOf(http::response<http::string_body> answer) {
    return {.status = answer.result_int(),
            .contentType = std::string(answer[http::field::content_type]),
            .body = std::move(answer.body())};
}

void throwUnanswered(const boost::system::error_code& error) {
    if (error == boost::asio::error::operation_aborted) {
        throw boost::system::system_error(error);  // whoever asked has left
    }
    if (error == beast::error::timeout) {
        throw OwnerDidNotAnswer(
            "The dispatcher does not answer: it may be suspended, or the machine very busy. Try again.");
    }
    if (error) {
        throw OwnerDidNotAnswer("The dispatcher went away before it answered (" + error.message() + ").");
    }
}

}  // namespace

Task<ControlResponse> askOwner(std::filesystem::path home, ControlRequest request,
                               std::chrono::milliseconds timeout) {
    Stream stream(co_await asio::this_coro::executor);
    stream.expires_after(timeout);
    co_await connect(stream, home);
    const Message message = messageOf(request);
    // Also when it fails: an owner that refuses a request before it has read all of it has answered.
    co_await http::async_write(stream, message, quietly);
    beast::flat_buffer buffer;
    Parser parser;
    parser.body_limit(largestAnswer);
    const auto [unread, received] = co_await http::async_read(stream, buffer, parser, quietly);
    throwUnanswered(unread);
    co_return responseOf(parser.release());
}

Task<std::unique_ptr<ControlChannel>> openChannel(std::filesystem::path home, std::string target) {
    Stream stream(co_await asio::this_coro::executor);
    stream.expires_after(longestOpening);
    co_await connect(stream, home);
    const ChannelLimits limits{.largestMessage = largestPicture};
    auto channel = std::make_unique<WebSocketChannel>(std::move(stream), limits);
    boost::system::error_code unread;
    http::response<http::string_body> answer;
    try {
        answer = co_await channel->ask(std::move(target));
    } catch (const boost::system::system_error& error) {
        unread = error.code();
        if (unread == asio::error::operation_aborted) {
            throw;
        }
    }
    throwUnanswered(unread);
    if (answer.result() != http::status::switching_protocols) {
        const auto refusal = problemOf(responseOf(std::move(answer)));
        throw UserError(refusal ? refusal->detail : ownerOfAnotherVersion);
    }
    co_return channel;
}

}  // namespace quernlight::host
