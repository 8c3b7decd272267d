#pragma once

#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "quernlight/backend/curl_library.hpp"
#include "quernlight/backend/curl_transfer.hpp"
#include "quernlight/backend/http_session.hpp"
#include "quernlight/platform/async_signal.hpp"

namespace quernlight {

/// One call of `HttpSession::send`, shared by the coroutine that waits and the thread that works.
class HttpExchange {
  public:
    explicit HttpExchange(HttpRequest request) : request_(std::move(request)) {}

    /// For the thread: the request, to be taken once; then exactly one of the outcomes.
    HttpRequest takeRequest() { return std::move(request_); }
    void end(HttpResponse response);
    void fail(std::exception_ptr error);

    /// For the coroutine.
    bool hasEnded() const;
    Task<HttpResponse> outcome();

  private:
    HttpRequest request_;
    mutable std::mutex lock_;  // guards what follows
    bool ended_ = false;
    HttpResponse response_;
    std::exception_ptr error_;
    AsyncSignal news_;
};

/// The thread of an `HttpSession`. Its operations may be called from any thread and do not block, but for
/// `stop`.
class HttpSession::Worker {
  public:
    explicit Worker(Options options);
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker();

    void submit(std::shared_ptr<HttpExchange> exchange);

    /// Ends the transfer, if it has not ended; nobody waits for its outcome any longer.
    void abandon(std::shared_ptr<HttpExchange> exchange);

    /// Fails whatever is under way and waits for the thread to end.
    void stop();

  private:
    struct Active {
        std::shared_ptr<HttpExchange> exchange;
        std::unique_ptr<CurlTransfer> transfer;
    };
    struct MultiCleanup {
        void operator()(CURLM* multi) const { curl().multiCleanup(multi); }
    };

    void run();
    bool takeOrders();
    void start(const std::shared_ptr<HttpExchange>& exchange);
    void remove(const std::shared_ptr<HttpExchange>& exchange);
    void collectEnded();
    void expire();
    void failAll();
    int pollTimeout() const;

    const Options options_;
    const std::string directHosts_;
    std::unique_ptr<CURLM, MultiCleanup> multi_;
    std::vector<Active> active_;  // the thread's own

    std::mutex lock_;  // guards the orders below
    std::vector<std::shared_ptr<HttpExchange>> submitted_;
    std::vector<std::shared_ptr<HttpExchange>> abandoned_;
    bool stopping_ = false;

    std::thread thread_;
};

/// The hosts that are reached without a proxy: what the environment says, and this machine.
std::string hostsWithoutProxy(std::optional<std::string> fromEnvironment);

}  // namespace quernlight
