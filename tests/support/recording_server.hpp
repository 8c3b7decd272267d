#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quernlight::test {

/// A request as it arrived, byte for byte but for the framing.
struct RecordedRequest {
    std::string method;
    std::string target;  // path and query as sent
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;

    /// The value of the header of this name in any case; nothing when it was not sent.
    std::optional<std::string> header(std::string_view name) const;

    /// "GET /v1/apps"
    std::string line() const { return method + " " + target; }
};

/// What the server does with one request.
struct ScriptedAnswer {
    enum class Fault {
        none,
        cutBody,   // announces the whole body, sends the first half, closes the connection
        noAnswer,  // closes the connection at once
        silence,   // says nothing until the client leaves
        notHTTP,   // sends the body alone, without a status line
    };

    int status = 200;
    std::string body = {};
    std::vector<std::pair<std::string, std::string>> headers = {};
    Fault fault = Fault::none;
    std::size_t afterRequests = 0;  // holds the answer back until so many requests have arrived in all
};

/// An HTTP server on 127.0.0.1 that answers what it is told to and remembers what it was asked. It works on a
/// thread of its own; its operations may be called from any thread.
class RecordingServer {
  public:
    RecordingServer();
    RecordingServer(const RecordingServer&) = delete;
    RecordingServer& operator=(const RecordingServer&) = delete;
    ~RecordingServer();

    unsigned short port() const;

    /// "http://127.0.0.1:PORT"
    std::string address() const;

    /// Answers the next request that has no answer of its own; answers are used in the order given. A
    /// request without an answer gets status 501.
    void answer(ScriptedAnswer answer);

    /// Answers the next request of this method and target, "GET /v1/apps".
    void answerTo(const std::string& line, ScriptedAnswer answer);

    std::vector<RecordedRequest> requests() const;

    /// Method and target of each request, in the order of arrival.
    std::vector<std::string> lines() const;

    /// How many connections were opened so far.
    std::size_t connections() const;

    /// Blocks until so many requests have arrived, or connections have ended; fails the test when they do
    /// not within the generous bound.
    void awaitRequests(std::size_t count) const;
    void awaitClosedConnections(std::size_t count) const;

  private:
    struct State;

    std::unique_ptr<State> state_;
};

}  // namespace quernlight::test
