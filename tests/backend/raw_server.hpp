#pragma once

#include <functional>
#include <string>
#include <thread>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::test {

/// A server on 127.0.0.1 for one connection: it waits for the end of a request's head, then does with the
/// connection what it was told to, on a thread of its own, and closes it.
class RawServer {
  public:
    explicit RawServer(std::function<void(int connection)> answer);
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;
    ~RawServer();

    /// "http://127.0.0.1:PORT"
    std::string address() const;

  private:
    void serve() const;

    const std::function<void(int)> answer_;
    FileDescriptor listener_;
    std::thread thread_;
};

void writeAll(int connection, const std::string& bytes);

/// Blocks until the other side has closed the connection.
void awaitEnd(int connection);

}  // namespace quernlight::test
