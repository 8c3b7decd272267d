#include "host/control/control_message.hpp"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <boost/url/encode.hpp>
#include <boost/url/rfc/unreserved_chars.hpp>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr const char* problemType = "application/problem+json";

/// Of the statuses that the owner answers with.
std::string_view titleOf(unsigned status) {
    switch (status) {
        case 400:
            return "Bad Request";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 413:
            return "Content Too Large";
        case 422:
            return "Unprocessable Content";
        case 429:
            return "Too Many Requests";
        case 502:
            return "Bad Gateway";
        case 504:
            return "Gateway Timeout";
        default:
            return "Internal Server Error";
    }
}

}  // namespace

ControlResponse problem(unsigned status, const std::string& detail) {
    const boost::json::object body{{"type", "about:blank"},
                                   {"title", titleOf(status)},
                                   {"status", status},
                                   {"detail", validUtf8(detail)}};
    return {.status = status, .contentType = problemType, .body = boost::json::serialize(body)};
}

std::optional<std::string> problemDetail(const ControlResponse& response) {
    if (response.contentType != problemType) {
        return std::nullopt;
    }
    boost::system::error_code error;
    const boost::json::value body = boost::json::parse(response.body, error);
    const auto* detail = !error && body.is_object() ? body.get_object().if_contains("detail") : nullptr;
    return detail && detail->is_string() ? std::string(detail->get_string())
                                         : "The dispatcher refused without saying why.";
}

std::string controlTarget(const std::vector<std::string>& segments) {
    std::string target;
    for (const std::string& segment : segments) {
        target += "/" + boost::urls::encode(segment, boost::urls::unreserved_chars);
    }
    return target;
}

}  // namespace quernlight::host
