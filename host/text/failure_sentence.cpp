#include "host/text/failure_sentence.hpp"

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

}  // namespace

std::string failureSentence(const std::exception& error) {
    const auto* refused = dynamic_cast<const BackendError*>(&error);
    if (refused && refused->which() == BackendError::Case::server) {
        const std::string body = escapedLine(trimmed(refused->body()), mostOfAnAnswer);
        return BackendError::server(refused->status(), body).what();
    }
    return escapedLine(error.what(), speaksOfAnAnswer(error) ? mostOfAnAnswer : mostOfOthers);
}

}  // namespace quernlight::host
