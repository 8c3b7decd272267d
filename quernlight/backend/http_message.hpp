#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "quernlight/platform/url.hpp"

namespace quernlight {

struct HttpHeader {
    std::string name;
    std::string value;

    bool operator==(const HttpHeader&) const = default;
};

/// A request before it is sent, as a value. Header values and the body are bytes; UTF-8 where they are text.
struct HttpRequest {
    std::string method = "GET";  // in capitals
    Url url;
    std::vector<HttpHeader> headers = {};
    std::optional<std::string> body = {};  // an empty body is sent, an absent one is not

    bool operator==(const HttpRequest&) const = default;
};

/// A complete answer of any status, after redirects.
struct HttpResponse {
    int status = 0;
    std::string body;                                     // bytes, decompressed
    std::optional<std::chrono::seconds> retryAfter = {};  // what "Retry-After" asks for, also as a date

    bool operator==(const HttpResponse&) const = default;
};

}  // namespace quernlight
