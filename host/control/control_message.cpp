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
        case 401:
            return "Unauthorized";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 409:
            return "Conflict";
        case 413:
            return "Content Too Large";
        case 422:
            return "Unprocessable Content";
        case 428:
            return "Precondition Required";
        case 426:
            return "Upgrade Required";
        case 429:
            return "Too Many Requests";
        case 502:
            return "Bad Gateway";
        case 503:
            return "Service Unavailable";
        case 504:
            return "Gateway Timeout";
        default:
            return "Internal Server Error";
    }
}

}  // namespace

ControlResponse problem(unsigned status, const std::string& detail, const std::string& code) {
    boost::json::object body{{"type", "about:blank"},
                             {"title", titleOf(status)},
                             {"status", status},
                             {"detail", validUtf8(detail)}};
    if (!code.empty()) {
        body["code"] = code;
    }
    return {.status = status, .contentType = problemType, .body = boost::json::serialize(body)};
}

std::optional<Problem> problemOf(const ControlResponse& response) {
    if (response.contentType != problemType) {
        return std::nullopt;
    }
    boost::system::error_code error;
    const boost::json::value body = boost::json::parse(response.body, error);
    const auto member = [&](std::string_view name) {
        const auto* found = !error && body.is_object() ? body.get_object().if_contains(name) : nullptr;
        return found && found->is_string() ? std::string(found->get_string()) : "";
    };
    Problem told{.detail = member("detail"), .code = member("code")};
    if (told.detail.empty()) {
        told.detail = "The dispatcher refused without saying why.";
    }
    return told;
}

std::string controlTarget(const std::vector<std::string>& segments) {
    std::string target;
    for (const std::string& segment : segments) {
        target += "/" + boost::urls::encode(segment, boost::urls::unreserved_chars);
    }
    return target;
}

}  // namespace quernlight::host
