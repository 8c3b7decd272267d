#pragma once

#include <array>
#include <chrono>
#include <memory>
#include <string>

#include "quernlight/backend/curl_library.hpp"
#include "quernlight/backend/http_message.hpp"
#include "quernlight/backend/http_session.hpp"

namespace quernlight {

/// One request under way in libcurl and what has come back of it. Belongs to the session's thread; stays
/// where it is, because libcurl keeps its address.
class CurlTransfer {
  public:
    using Clock = std::chrono::steady_clock;

    /// `directHosts` are the hosts to reach without a proxy, as libcurl wants them. Throws `TransportError`.
    CurlTransfer(HttpRequest request, const HttpSession::Options& options, const std::string& directHosts);
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    CURL* handle() const { return handle_.get(); }

    /// When the transfer has timed out, unless there is progress until then.
    Clock::time_point deadline() const;

    /// The answer of a transfer that libcurl has ended with `code`. Throws `TransportError`.
    HttpResponse finish(CURLcode code);

    /// The error of a transfer that has passed its deadline.
    TransportError timeoutError() const;

  private:
    struct EasyCleanup {
        void operator()(CURL* handle) const { curl().easyCleanup(handle); }
    };
    struct ListCleanup {
        void operator()(curl_slist* list) const { curl().listFree(list); }
    };

    Clock::time_point totalDeadline() const;
    void configureConnection(const std::string& directHosts);
    void configureRequest();
    void configureCallbacks();
    void addHeader(const std::string& line);
    TransportError failure(CURLcode code) const;

    static std::size_t onBody(const char* bytes, std::size_t size, std::size_t count, void* transfer);
    static std::size_t onHeader(const char* bytes, std::size_t size, std::size_t count, void* transfer);
    static int onRequest(void* transfer, char*, char*, int, int);
    static int onProgress(void* transfer, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent);

    HttpRequest request_;
    HttpSession::Options options_;
    std::array<char, CURL_ERROR_SIZE> message_{};
    std::unique_ptr<CURL, EasyCleanup> handle_;
    std::unique_ptr<curl_slist, ListCleanup> headers_;
    const Clock::time_point begun_ = Clock::now();
    Clock::time_point lastProgress_ = begun_;
    curl_off_t transferred_ = 0;  // bytes in both directions when there was progress last
    std::string body_;
    bool awaitsAnswer_ = false;  // a request is on its way, and nothing of an HTTP answer has come yet
    bool tooLarge_ = false;
};

}  // namespace quernlight
