#include "quernlight/backend/curl_transfer.hpp"

#include <algorithm>
#include <new>
#include <utility>

#include <fcntl.h>

namespace quernlight {
namespace {

/// Refuses what libcurl does not know: a library too old for an option must not run without it.
template <class Value>
void set(CURL* handle, CURLoption option, Value value) {
    const CURLcode code = curl().easySetOption(handle, option, value);
    if (code != CURLE_OK) {
        throw TransportError(
            TransportError::Reason::failed,
            std::string("The HTTP request cannot be prepared: ") + curl().easyErrorText(code) + ".");
    }
}

/// Child processes, such as agents, must not inherit a connection to the backend.
int closeOnExec(void*, curl_socket_t socket, curlsocktype) {
    ::fcntl(socket, F_SETFD, FD_CLOEXEC);
    return CURL_SOCKOPT_OK;
}

std::string durationText(std::chrono::milliseconds duration) {
    const auto count = duration.count();
    return count % 1000 == 0 ? std::to_string(count / 1000) + " seconds"
                             : std::to_string(count) + " milliseconds";
}

/// Whether it failed before there was a connection over which to send.
bool isUnconnected(CURLcode code) {
    return code == CURLE_COULDNT_RESOLVE_PROXY || code == CURLE_COULDNT_RESOLVE_HOST ||
           code == CURLE_COULDNT_CONNECT || code == CURLE_SSL_CONNECT_ERROR ||
           code == CURLE_PEER_FAILED_VERIFICATION;
}

}  // namespace

CurlTransfer::CurlTransfer(HttpRequest request, const HttpSession::Options& options,
                           const std::string& directHosts)
    : request_(std::move(request)), options_(options), handle_(curl().easyInit()) {
    if (!handle_) {
        throw std::bad_alloc();
    }
    configureConnection(directHosts);
    configureRequest();
    configureCallbacks();
}

void CurlTransfer::configureConnection(const std::string& directHosts) {
    CURL* handle = handle_.get();
    set(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    set(handle, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    set(handle, CURLOPT_FOLLOWLOCATION, 1L);
    set(handle, CURLOPT_MAXREDIRS, 16L);
    set(handle, CURLOPT_UNRESTRICTED_AUTH, 0L);
    set(handle, CURLOPT_SSL_VERIFYPEER, 1L);
    set(handle, CURLOPT_SSL_VERIFYHOST, 2L);
    set(handle, CURLOPT_NOPROXY, directHosts.c_str());
    set(handle, CURLOPT_NOSIGNAL, 1L);
    set(handle, CURLOPT_QUICK_EXIT, 1L);  // an end does not wait for a name server that does not answer
    set(handle, CURLOPT_ACCEPT_ENCODING, "");
    set(handle, CURLOPT_SOCKOPTFUNCTION, &closeOnExec);
    set(handle, CURLOPT_ERRORBUFFER, message_.data());
}

void CurlTransfer::configureRequest() {
    CURL* handle = handle_.get();
    set(handle, CURLOPT_URL, request_.url.text().c_str());
    set(handle, CURLOPT_PATH_AS_IS, 1L);
    if (request_.method != "GET") {
        // On a kept connection that turns out to be dead libcurl sends a request again of its own accord,
        // although the backend may have seen it. That is fine for reading, and would file a bug twice. A
        // redirect would find the connection of the request before it, unless that is closed. A stream that
        // HTTP/2 refuses is sent again on any connection.
        set(handle, CURLOPT_FRESH_CONNECT, 1L);
        set(handle, CURLOPT_FORBID_REUSE, 1L);
        set(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    }
    if (request_.body || request_.method == "POST") {
        const std::string& body = request_.body ? *request_.body : request_.body.emplace();
        set(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        set(handle, CURLOPT_POSTFIELDS, body.c_str());
    }
    if (request_.method != "GET" && request_.method != "POST") {
        set(handle, CURLOPT_CUSTOMREQUEST, request_.method.c_str());
        // libcurl keeps such a method when it follows a redirect; then it must keep the body as well. What
        // "see other" wants is in `onHeader`.
        set(handle, CURLOPT_POSTREDIR, static_cast<long>(CURL_REDIR_POST_301 | CURL_REDIR_POST_302));
    }
    for (const auto& [name, value] : request_.headers) {
        // libcurl takes a header without a value for the wish to leave it out.
        const bool blank = value.find_first_not_of(" \t") == std::string::npos;
        addHeader(blank ? name + ";" : name + ": " + value);
    }
    addHeader("Expect:");  // no pause before a large body
    set(handle, CURLOPT_HTTPHEADER, headers_.get());
}

void CurlTransfer::configureCallbacks() {
    CURL* handle = handle_.get();
    set(handle, CURLOPT_PRIVATE, static_cast<void*>(this));
    set(handle, CURLOPT_WRITEFUNCTION, &onBody);
    set(handle, CURLOPT_WRITEDATA, static_cast<void*>(this));
    set(handle, CURLOPT_HEADERFUNCTION, &onHeader);
    set(handle, CURLOPT_HEADERDATA, static_cast<void*>(this));
    set(handle, CURLOPT_PREREQFUNCTION, &onRequest);
    set(handle, CURLOPT_PREREQDATA, static_cast<void*>(this));
    set(handle, CURLOPT_XFERINFOFUNCTION, &onProgress);
    set(handle, CURLOPT_XFERINFODATA, static_cast<void*>(this));
    set(handle, CURLOPT_NOPROGRESS, 0L);
}

void CurlTransfer::addHeader(const std::string& line) {
    curl_slist* longer = curl().listAppend(headers_.get(), line.c_str());
    if (longer == nullptr) {
        throw std::bad_alloc();
    }
    static_cast<void>(headers_.release());  // is part of the longer list now
    headers_.reset(longer);
}

CurlTransfer::Clock::time_point CurlTransfer::deadline() const {
    return std::min(lastProgress_ + options_.timeout, totalDeadline());
}

/// A large body may take its time on a slow line, but not hours; a few bytes now and then may not.
CurlTransfer::Clock::time_point CurlTransfer::totalDeadline() const {
    const std::chrono::duration<double> earned(
        static_cast<double>(transferred_) /
        static_cast<double>(std::max<std::size_t>(options_.leastRate, 1)));
    const auto extra = std::min<std::chrono::duration<double>>(earned, options_.mostExtraTime);
    return begun_ + options_.totalTimeout + std::chrono::duration_cast<Clock::duration>(extra);
}

HttpResponse CurlTransfer::finish(CURLcode code) {
    if (code != CURLE_OK) {
        throw failure(code);
    }
    long status = 0;
    curl().easyGetInfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
    HttpResponse response{static_cast<int>(status), std::move(body_)};
    curl_off_t pause = 0;
    curl().easyGetInfo(handle_.get(), CURLINFO_RETRY_AFTER, &pause);
    if (pause > 0) {
        response.retryAfter = std::chrono::seconds(pause);
    }
    return response;
}

TransportError CurlTransfer::failure(CURLcode code) const {
    using Reason = TransportError::Reason;
    if (tooLarge_) {
        return {Reason::answerTooLarge,
                "The answer is larger than " + std::to_string(options_.maximumAnswerSize) + " bytes."};
    }
    if (code == CURLE_OPERATION_TIMEDOUT) {
        return timeoutError();
    }
    // An answer without a status line counts as an unsupported protocol; so does a scheme that is refused
    // before anything is sent, or after a redirect to it.
    const bool strange = code == CURLE_UNSUPPORTED_PROTOCOL && awaitsAnswer_;
    const bool notHTTP = strange || code == CURLE_WEIRD_SERVER_REPLY;
    const char* message = message_.front() != '\0' ? message_.data() : curl().easyErrorText(code);
    return {notHTTP ? Reason::notHTTP : Reason::failed,
            std::string("The HTTP request failed: ") + message + ".",
            isUnconnected(code) ? TransportError::Sent::no : TransportError::Sent::maybe};
}

TransportError CurlTransfer::timeoutError() const {
    const bool isStuck = lastProgress_ + options_.timeout <= totalDeadline();
    return {TransportError::Reason::timedOut,
            "The HTTP request timed out: " +
                (isStuck ? "no progress for " + durationText(options_.timeout)
                         : "it took longer than " + durationText(options_.totalTimeout)) +
                "."};
}

std::size_t CurlTransfer::onBody(const char* bytes, std::size_t size, std::size_t count, void* transfer) {
    auto& self = *static_cast<CurlTransfer*>(transfer);
    const std::size_t length = size * count;
    self.lastProgress_ = Clock::now();
    if (length > self.options_.maximumAnswerSize - self.body_.size()) {
        self.tooLarge_ = true;
        return 0;
    }
    try {
        self.body_.append(bytes, length);
    } catch (const std::exception&) {
        return 0;  // libcurl cannot pass an exception on, but ends the transfer with a write error
    }
    return length;
}

std::size_t CurlTransfer::onHeader(const char*, std::size_t size, std::size_t count, void* transfer) {
    auto& self = *static_cast<CurlTransfer*>(transfer);
    self.lastProgress_ = Clock::now();
    self.awaitsAnswer_ = false;
    long status = 0;
    curl().easyGetInfo(self.handle(), CURLINFO_RESPONSE_CODE, &status);
    if (status == 303) {
        // The change is done and its outcome is to be read elsewhere: to DELETE that as well would be wrong.
        curl().easySetOption(self.handle(), CURLOPT_CUSTOMREQUEST, nullptr);
    }
    return size * count;
}

int CurlTransfer::onRequest(void* transfer, char*, char*, int, int) {
    static_cast<CurlTransfer*>(transfer)->awaitsAnswer_ = true;
    return CURL_PREREQFUNC_OK;
}

int CurlTransfer::onProgress(void* transfer, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent) {
    auto& self = *static_cast<CurlTransfer*>(transfer);
    if (received + sent != self.transferred_) {
        self.transferred_ = received + sent;
        self.lastProgress_ = Clock::now();
    }
    return 0;
}

}  // namespace quernlight
