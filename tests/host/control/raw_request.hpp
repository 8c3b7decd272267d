#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <boost/asio.hpp>

#include "quernlight/platform/task.hpp"

namespace quernlight::host::test {

/// What 127.0.0.1 answers on that port to these bytes, until it closes the connection.
inline Task<std::string> answerTo(std::uint16_t port, std::string bytes) {
    namespace asio = boost::asio;
    constexpr auto quietly = asio::as_tuple(asio::use_awaitable);
    asio::ip::tcp::socket socket(co_await asio::this_coro::executor);
    const asio::ip::tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port);
    co_await socket.async_connect(endpoint, asio::use_awaitable);
    co_await asio::async_write(socket, asio::buffer(bytes), quietly);
    std::string answer;
    co_await asio::async_read(socket, asio::dynamic_buffer(answer), quietly);
    co_return answer;
}

/// The head of a request, with an empty line where a body would follow.
inline std::string head(const std::string& line, const std::string& host,
                        const std::vector<std::string>& fields = {}) {
    std::string text = line + " HTTP/1.1\r\nHost: " + host + "\r\nConnection: close\r\n";
    for (const std::string& field : fields) {
        text += field + "\r\n";
    }
    return text + "\r\n";
}

/// The status of an answer; 0 where it has none.
inline int statusOf(const std::string& answer) {
    constexpr std::string_view version = "HTTP/1.1 ";
    return answer.starts_with(version) ? std::atoi(answer.c_str() + version.size()) : 0;
}

}  // namespace quernlight::host::test
