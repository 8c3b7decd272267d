#include "tests/backend/raw_server.hpp"

#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quernlight::test {

RawServer::RawServer(std::function<void(int)> answer)
    : answer_(std::move(answer)), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener_.get(), 1) != 0) {
        throw std::runtime_error("no server can be started on 127.0.0.1");
    }
    thread_ = std::thread([this] { serve(); });
}

RawServer::~RawServer() {
    shutdown(listener_.get(), SHUT_RDWR);  // ends a wait for a client that never came
    thread_.join();
}

std::string RawServer::address() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &size);
    return "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

void RawServer::serve() const {
    const FileDescriptor connection(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    std::string head;
    char byte = 0;
    while (connection && !head.ends_with("\r\n\r\n")) {
        if (read(connection.get(), &byte, 1) != 1) {
            return;
        }
        head += byte;
    }
    if (connection) {
        answer_(connection.get());
    }
}

void writeAll(int connection, const std::string& bytes) {
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = send(connection, bytes.data() + written, bytes.size() - written, MSG_NOSIGNAL);
        if (count <= 0) {
            return;  // the client has left, which is its right
        }
        written += static_cast<std::size_t>(count);
    }
}

void awaitEnd(int connection) {
    char bytes[512];
    while (read(connection, bytes, sizeof bytes) > 0) {
    }
}

}  // namespace quernlight::test
