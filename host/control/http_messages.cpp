#include "host/control/http_messages.hpp"

#include <string>
#include <utility>
#include <vector>

#include <boost/beast/websocket/rfc6455.hpp>

namespace quernlight::host {
namespace {

namespace http = boost::beast::http;

std::vector<std::string> fieldsOf(const HttpHeader& message, http::field name) {
    std::vector<std::string> values;
    const auto [begin, end] = message.equal_range(name);
    for (auto field = begin; field != end; ++field) {
        values.emplace_back(field->value());
    }
    return values;
}

}  // namespace

RequestOrigin originOf(const HttpHeader& message) {
    return {.hosts = fieldsOf(message, http::field::host),
            .origins = fieldsOf(message, http::field::origin),
            .authorizations = fieldsOf(message, http::field::authorization)};
}

ControlRequest requestOf(HttpRequest& message, const Caller& caller) {
    ControlRequest request{.method = std::string(message.method_string()),
                           .target = std::string(message.target()),
                           .caller = caller,
                           .wantsChannel = boost::beast::websocket::is_upgrade(message)};
    request.secret = bearerSecret(std::string(message[http::field::authorization])).value_or("");
    request.body = std::move(message.body());
    return request;
}

ControlRequest personsRequest(HttpRequest& message) {
    ControlRequest request = requestOf(message, {.isPerson = true});
    request.secret.clear();
    return request;
}

bool expectsContinue(const HttpHeader& message) {
    return boost::beast::iequals(message[http::field::expect], "100-continue") && message.version() >= 11;
}

HttpResponse messageOf(ControlResponse response, bool keepAlive) {
    HttpResponse message(http::int_to_status(response.status), 11);
    message.set(http::field::content_type, response.contentType);
    message.set(http::field::cache_control, "no-store");
    for (const auto& [name, value] : response.fields) {
        message.set(name, value);
    }
    message.keep_alive(keepAlive);
    message.body() = std::move(response.body);
    message.prepare_payload();
    return message;
}

}  // namespace quernlight::host
