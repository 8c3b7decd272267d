#include "host/health/backend_health.hpp"

#include <algorithm>

#include "host/text/failure_sentence.hpp"
#include "quernlight/backend/backend_error.hpp"
#include "quernlight/backend/decoding_error.hpp"

namespace quernlight::host {
namespace {

constexpr int unauthorized = 401;
constexpr int tooManyRequests = 429;
constexpr int firstServerTrouble = 500;

/// An answer that concerns what was asked, one bug say, and not the backend.
bool isAnswer(const std::exception& error) {
    if (const auto* refused = dynamic_cast<const BackendError*>(&error)) {
        return refused->status() > 0 && refused->status() < firstServerTrouble &&
               refused->status() != tooManyRequests && refused->status() != unauthorized;
    }
    return dynamic_cast<const DecodingError*>(&error) != nullptr;
}

}  // namespace

void BackendHealth::answered() {
    ++answers_;
    refusesToken_ = false;
    note({});
}

bool BackendHealth::failed(const std::exception& error) {
    const bool answers = isAnswer(error);
    ++(answers ? answers_ : failures_);
    const auto* refused = dynamic_cast<const BackendError*>(&error);
    refusesToken_ = refused && refused->isServer(unauthorized);
    if (refused) {
        heed(refused->retryAfter());
    }
    note(answers ? "" : failureSentence(error));
    return !answers;
}

void BackendHealth::heed(const std::optional<std::chrono::seconds>& pause) {
    if (pause) {
        const auto until = clock_.steadyNow() + std::min<std::chrono::seconds>(*pause, longestPause);
        askAgainAt_ = std::max(askAgainAt_, until);
    }
}

void BackendHealth::note(const std::string& trouble) {
    const bool changed = trouble.empty() != trouble_.empty();
    trouble_ = trouble;
    if (changed) {
        listener_(trouble);
    }
}

}  // namespace quernlight::host
