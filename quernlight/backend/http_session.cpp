#include "quernlight/backend/http_session.hpp"

#include <string_view>
#include <utility>

#include "quernlight/backend/http_worker.hpp"

namespace quernlight {
namespace {

using namespace std::string_view_literals;

/// Names the header but not its value, which may be a secret.
void refuseLineBreaks(const HttpRequest& request) {
    for (const auto& [name, value] : request.headers) {
        if ((name + value).find_first_of("\r\n\0"sv) != std::string::npos) {
            throw TransportError(TransportError::Reason::lineBreakInHeader,
                                 "The HTTP header \"" + name + "\" contains a line break.",
                                 TransportError::Sent::no);
        }
    }
}

void refuseLargeBody(const HttpRequest& request, std::size_t limit) {
    if (request.body && request.body->size() > limit) {
        throw TransportError(TransportError::Reason::requestTooLarge,
                             "The request is larger than " + std::to_string(limit) + " bytes.",
                             TransportError::Sent::no);
    }
}

}  // namespace

HttpSession::HttpSession() : HttpSession(Options()) {}

HttpSession::HttpSession(Options options)
    : maximumRequestSize_(options.maximumRequestSize), worker_(std::make_shared<Worker>(options)) {}

HttpSession::~HttpSession() {
    worker_->stop();
}

/// Has the exchange done, and takes it back from the thread when the coroutine leaves before its end.
class HttpSession::Submission {
  public:
    Submission(std::shared_ptr<Worker> worker, std::shared_ptr<HttpExchange> exchange)
        : worker_(std::move(worker)), exchange_(std::move(exchange)) {
        worker_->submit(exchange_);
    }
    Submission(const Submission&) = delete;
    Submission& operator=(const Submission&) = delete;
    ~Submission() {
        if (!exchange_->hasEnded()) {
            worker_->abandon(exchange_);
        }
    }

  private:
    std::shared_ptr<Worker> worker_;
    std::shared_ptr<HttpExchange> exchange_;
};

Task<HttpResponse> HttpSession::send(HttpRequest request) {
    refuseLineBreaks(request);
    refuseLargeBody(request, maximumRequestSize_);
    const auto exchange = std::make_shared<HttpExchange>(std::move(request));
    const Submission submission(worker_, exchange);
    co_return co_await exchange->outcome();
}

}  // namespace quernlight
