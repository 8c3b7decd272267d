#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/json.hpp>

namespace quernlight::standin {

using Headers = std::vector<std::pair<std::string, std::string>>;

/// One HTTP request as a value.
struct Request {
    std::string method;  ///< in upper case
    std::string target;  ///< path and query as they were sent
    Headers headers;
    std::string body;

    /// The first header of that name, in any case.
    std::optional<std::string_view> header(std::string_view name) const;
    /// The target without its query.
    std::string_view path() const;
};

/// One HTTP answer as a value; the two last members are what a fault makes of it.
struct Response {
    unsigned status = 200;
    Headers headers{};
    std::string body{};  ///< JSON, or empty
    std::chrono::milliseconds delay{0};
    bool cutConnection = false;  ///< announce the whole body, send half of it and hang up
};

/// A request that is answered with an error status; the message goes into the answer.
class HttpError : public std::runtime_error {
  public:
    HttpError(unsigned status, const std::string& message, Headers headers = {})
        : std::runtime_error(message), status_(status), headers_(std::move(headers)) {}

    unsigned status() const { return status_; }
    const Headers& headers() const { return headers_; }

  private:
    unsigned status_;
    Headers headers_;
};

Response jsonResponse(unsigned status, const boost::json::value& body);

/// {"error": "MESSAGE"}
Response errorResponse(unsigned status, std::string_view message, Headers headers = {});

}  // namespace quernlight::standin
