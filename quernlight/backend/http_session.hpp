#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

#include "quernlight/backend/http_message.hpp"
#include "quernlight/backend/transport_error.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight {

/// Sends HTTP requests, those that only read (GET) over connections that it keeps for the next one; the
/// caller's HTTP client library. Shared by all who talk to a backend and usable from any thread: the work is
/// done on one thread of its own, and an awaiting coroutine goes on, on its own executor.
///
/// https and http only; certificates are verified; the environment's proxies are used except for this machine
/// itself. At most 16 redirects are followed; they lose the "Authorization" header when they lead to another
/// host or port. "See other" (303) becomes a GET without a body, and so do 301 and 302 of a POST; every other
/// redirect is the same request again.
class HttpSession {
  public:
    struct Options {
        std::chrono::milliseconds timeout = std::chrono::seconds(60);        // without any progress
        std::chrono::milliseconds totalTimeout = std::chrono::seconds(120);  // in all, ...
        std::size_t leastRate = 16 * 1024;  // ... and a second more for each so many bytes transferred, ...
        std::chrono::milliseconds mostExtraTime = std::chrono::minutes(10);  // ... up to so much more
        std::size_t maximumRequestSize = 64 * 1024 * 1024;                   // bytes of a body
        std::size_t maximumAnswerSize = 64 * 1024 * 1024;  // bytes of a body, after decompression
    };

    HttpSession();
    explicit HttpSession(Options options);
    HttpSession(const HttpSession&) = delete;
    HttpSession& operator=(const HttpSession&) = delete;

    /// Ends what is still under way with `TransportError` (session closed).
    ~HttpSession();

    /// The answer, whatever its status. Throws `TransportError`; a header value with a line break and a body
    /// beyond the bound are refused before anything is sent. Cancelling the awaiting coroutine ends the
    /// transfer; it then throws `operation_aborted`.
    Task<HttpResponse> send(HttpRequest request);

  private:
    class Worker;
    class Submission;

    const std::size_t maximumRequestSize_;
    std::shared_ptr<Worker> worker_;  // shared with the calls under way, which may end after the session
};

}  // namespace quernlight
