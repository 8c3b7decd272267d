#include "quernlight/backend/http_worker.hpp"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <new>
#include <utility>

namespace quernlight {
namespace {

std::optional<std::string> environmentText(const char* name) {
    const char* text = std::getenv(name);
    return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

std::optional<std::string> noProxyOfEnvironment() {
    auto hosts = environmentText("no_proxy");
    return hosts ? hosts : environmentText("NO_PROXY");
}

CURLM* makeMulti() {
    CURLM* multi = curl().multiInit();
    if (multi == nullptr) {
        throw std::bad_alloc();
    }
    return multi;
}

/// The host's signals are for the host's threads; and a write to a closed TLS connection must not end it.
template <class Body>
std::thread threadWithoutSignals(Body body) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const struct Restore {
        const sigset_t& mask;
        ~Restore() { pthread_sigmask(SIG_SETMASK, &mask, nullptr); }
    } restore{before};
    return std::thread(std::move(body));
}

TransportError sessionClosed() {
    return {TransportError::Reason::sessionClosed, "The HTTP session was closed before the answer came."};
}

}  // namespace

// The coroutine is woken under the lock that it then needs, so it cannot be done, and its event loop gone,
// while this thread is still about to wake it.

void HttpExchange::end(HttpResponse response) {
    const std::lock_guard guard(lock_);
    response_ = std::move(response);
    ended_ = true;
    news_.notify();
}

void HttpExchange::fail(std::exception_ptr error) {
    const std::lock_guard guard(lock_);
    error_ = std::move(error);
    ended_ = true;
    news_.notify();
}

bool HttpExchange::hasEnded() const {
    const std::lock_guard guard(lock_);
    return ended_;
}

Task<HttpResponse> HttpExchange::outcome() {
    while (!hasEnded()) {
        co_await news_.wait();
    }
    if (error_) {
        std::rethrow_exception(std::exchange(error_, nullptr));
    }
    co_return std::move(response_);
}

HttpSession::Worker::Worker(Options options)
    : options_(options),
      directHosts_(hostsWithoutProxy(noProxyOfEnvironment())),
      multi_(makeMulti()),
      thread_(threadWithoutSignals([this] { run(); })) {}

HttpSession::Worker::~Worker() {
    stop();
}

void HttpSession::Worker::submit(std::shared_ptr<HttpExchange> exchange) {
    {
        const std::lock_guard guard(lock_);
        if (!stopping_) {
            submitted_.push_back(std::move(exchange));
        }
    }
    if (exchange) {
        exchange->fail(std::make_exception_ptr(sessionClosed()));
        return;
    }
    curl().multiWakeUp(multi_.get());
}

void HttpSession::Worker::abandon(std::shared_ptr<HttpExchange> exchange) {
    {
        const std::lock_guard guard(lock_);
        abandoned_.push_back(std::move(exchange));
    }
    curl().multiWakeUp(multi_.get());
}

void HttpSession::Worker::stop() {
    {
        const std::lock_guard guard(lock_);
        stopping_ = true;
    }
    curl().multiWakeUp(multi_.get());
    if (thread_.joinable()) {
        thread_.join();
    }
}

void HttpSession::Worker::run() {
    while (takeOrders()) {
        int running = 0;
        curl().multiPerform(multi_.get(), &running);
        collectEnded();
        expire();
        curl().multiPoll(multi_.get(), nullptr, 0, pollTimeout(), nullptr);
    }
    failAll();
}

/// Starts and ends what other threads have asked for; false when the thread is to end.
bool HttpSession::Worker::takeOrders() {
    std::vector<std::shared_ptr<HttpExchange>> submitted;
    std::vector<std::shared_ptr<HttpExchange>> abandoned;
    bool stopping = false;
    {
        const std::lock_guard guard(lock_);
        submitted.swap(submitted_);
        abandoned.swap(abandoned_);
        stopping = stopping_;
    }
    for (const auto& exchange : submitted) {
        start(exchange);
    }
    for (const auto& exchange : abandoned) {
        remove(exchange);
    }
    return !stopping;
}

void HttpSession::Worker::start(const std::shared_ptr<HttpExchange>& exchange) {
    try {
        auto transfer = std::make_unique<CurlTransfer>(exchange->takeRequest(), options_, directHosts_);
        const CURLMcode code = curl().multiAdd(multi_.get(), transfer->handle());
        if (code != CURLM_OK) {
            throw TransportError(TransportError::Reason::failed, std::string("The HTTP request failed: ") +
                                                                     curl().multiErrorText(code) + ".");
        }
        active_.push_back({exchange, std::move(transfer)});
    } catch (...) {
        exchange->fail(std::current_exception());
    }
}

void HttpSession::Worker::remove(const std::shared_ptr<HttpExchange>& exchange) {
    const auto found = std::find_if(active_.begin(), active_.end(),
                                    [&](const Active& each) { return each.exchange == exchange; });
    if (found != active_.end()) {
        curl().multiRemove(multi_.get(), found->transfer->handle());
        active_.erase(found);
    }
}

void HttpSession::Worker::collectEnded() {
    int left = 0;
    while (const CURLMsg* message = curl().multiReadInfo(multi_.get(), &left)) {
        const CURLcode code = message->data.result;
        const auto ended = std::find_if(active_.begin(), active_.end(), [&](const Active& each) {
            return each.transfer->handle() == message->easy_handle;
        });
        const auto exchange = ended->exchange;
        HttpResponse response;
        std::exception_ptr error;
        try {
            response = ended->transfer->finish(code);
        } catch (...) {
            error = std::current_exception();
        }
        error ? exchange->fail(std::move(error)) : exchange->end(std::move(response));
        remove(exchange);
    }
}

void HttpSession::Worker::expire() {
    const auto now = CurlTransfer::Clock::now();
    std::vector<std::shared_ptr<HttpExchange>> expired;
    for (const Active& each : active_) {
        if (each.transfer->deadline() <= now) {
            each.exchange->fail(std::make_exception_ptr(each.transfer->timeoutError()));
            expired.push_back(each.exchange);
        }
    }
    for (const auto& exchange : expired) {
        remove(exchange);
    }
}

void HttpSession::Worker::failAll() {
    while (!active_.empty()) {
        const auto exchange = active_.back().exchange;
        exchange->fail(std::make_exception_ptr(sessionClosed()));
        remove(exchange);
    }
}

/// Milliseconds until a transfer may time out; libcurl returns earlier when it has something to do.
int HttpSession::Worker::pollTimeout() const {
    const auto now = CurlTransfer::Clock::now();
    auto next = now + std::chrono::minutes(10);
    for (const Active& each : active_) {
        next = std::min(next, each.transfer->deadline());
    }
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - now);
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(0, wait.count()));
}

std::string hostsWithoutProxy(std::optional<std::string> fromEnvironment) {
    const std::string thisMachine = "localhost,127.0.0.0/8,::1";
    if (!fromEnvironment || fromEnvironment->empty()) {
        return thisMachine;
    }
    // The star means every host, but only when it stands alone.
    return *fromEnvironment == "*" ? *fromEnvironment : *fromEnvironment + "," + thisMachine;
}

}  // namespace quernlight
