#include "quernlight/backend/request_bodies.hpp"

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace json = boost::json;
namespace {

/// Texts come from people and agents; a JSON text must be UTF-8 all the same.
json::string jsonText(const std::string& text) {
    return json::string(validUtf8(text));
}

json::object jsonObject(const std::map<std::string, std::string>& members) {
    json::object object;
    for (const auto& [key, value] : members) {
        object[validUtf8(key)] = jsonText(value);
    }
    return object;
}

void setIfPresent(json::object& object, const char* key, const std::optional<std::string>& text) {
    if (text) {
        object[key] = jsonText(*text);
    }
}

}  // namespace

std::string encodedJSON(const CreateBugRequest& request) {
    json::object body{{"title", jsonText(request.title)}, {"description", jsonText(request.description)}};
    setIfPresent(body, "reporter", request.reporter);
    if (request.metadata) {
        body["metadata"] = jsonObject(*request.metadata);
    }
    setIfPresent(body, "logs", request.logs);
    return json::serialize(body);
}

std::string encodedJSON(const CreateCommentRequest& request) {
    json::object body{{"body", jsonText(request.body)}};
    setIfPresent(body, "author_type", request.authorType);
    if (request.metadata) {
        body["metadata"] = jsonObject(*request.metadata);
    }
    if (request.prURL) {
        body["pr_url"] = request.prURL->text();
    }
    return json::serialize(body);
}

std::string encodedJSON(const UpdateBugPRURLRequest& request) {
    json::object body{{"pr_url", nullptr}};
    if (request.prURL) {
        body["pr_url"] = request.prURL->text();
    }
    return json::serialize(body);
}

std::string encodedJSON(const std::map<std::string, std::string>& object) {
    return json::serialize(jsonObject(object));
}

}  // namespace quernlight
