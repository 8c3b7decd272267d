#pragma once

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

/// A request before it is sent.
struct HttpRequest {
    std::string method = "GET";
    Url url;
    std::vector<HttpHeader> headers = {};
    std::optional<std::string> body = {};

    bool operator==(const HttpRequest&) const = default;
};

/// A complete answer of any status.
struct HttpResponse {
    int status = 0;
    std::string body;

    bool operator==(const HttpResponse&) const = default;
};

}  // namespace quernlight
