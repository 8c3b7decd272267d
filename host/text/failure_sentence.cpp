#include "host/text/failure_sentence.hpp"

#include <boost/json/parse.hpp>

#include "quernlight/backend/backend_error.hpp"
#include "quernlight/backend/decoding_error.hpp"
#include "quernlight/backend/transport_error.hpp"
#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t mostOfAnAnswer = 300;
constexpr std::size_t mostOfOthers = 2000;

bool speaksOfAnAnswer(const std::exception& error) {
    return dynamic_cast<const DecodingError*>(&error) || dynamic_cast<const TransportError*>(&error);
}

/// What a backend says in JSON, {"error": "There is no bug 1."}; the body as it is when it says it otherwise.
std::string sentenceIn(const std::string& body) {
    boost::system::error_code error;
    const boost::json::value parsed = boost::json::parse(body, error);
    const boost::json::object* object = error ? nullptr : parsed.if_object();
    for (const char* name : {"error", "detail", "message"}) {
        const boost::json::value* member = object ? object->if_contains(name) : nullptr;
        if (member && member->is_string()) {
            return std::string(member->get_string());
        }
    }
    return body;
}

}  // namespace

std::string failureSentence(const std::exception& error) {
    const auto* refused = dynamic_cast<const BackendError*>(&error);
    if (refused && refused->which() == BackendError::Case::server) {
        const std::string body = escapedLine(trimmed(sentenceIn(refused->body())), mostOfAnAnswer);
        return BackendError::server(refused->status(), body).what();
    }
    return escapedLine(error.what(), speaksOfAnAnswer(error) ? mostOfAnAnswer : mostOfOthers);
}

}  // namespace quernlight::host
