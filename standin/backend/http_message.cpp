#include "standin/backend/http_message.hpp"

#include <boost/algorithm/string/predicate.hpp>

namespace quernlight::standin {

std::optional<std::string_view> Request::header(std::string_view name) const {
    for (const auto& [key, value] : headers) {
        if (boost::algorithm::iequals(key, name, std::locale::classic())) {
            return value;
        }
    }
    return std::nullopt;
}

std::string_view Request::path() const {
    return std::string_view(target).substr(0, target.find('?'));
}

Response jsonResponse(unsigned status, const boost::json::value& body) {
    return {.status = status,
            .headers = {{"Content-Type", "application/json"}},
            .body = boost::json::serialize(body)};
}

Response errorResponse(unsigned status, std::string_view message, Headers headers) {
    boost::json::object body;
    body["error"] = message;
    Response response = jsonResponse(status, body);
    for (auto& header : headers) {
        response.headers.push_back(std::move(header));
    }
    return response;
}

}  // namespace quernlight::standin
