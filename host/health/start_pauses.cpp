#include "host/health/start_pauses.hpp"

#include <algorithm>
#include <vector>

namespace quernlight::host {
namespace {

std::string topicOf(const std::string& scope) {
    return scope.empty() ? "starts" : "starts in " + scope;
}

std::string describe(const std::string& scope, const std::string& cause, std::chrono::seconds length) {
    const std::string who = scope.empty() ? "No bug is started" : "No bug of " + scope + " is started";
    return who + " for the next " + std::to_string(length.count()) + " s, then it is tried again: " + cause;
}

}  // namespace

void StartPauses::failed(const OutsideFailure& failure, TimePoint now) {
    const std::string scope = failure.repository.value_or(everything);
    Pause& pause = pauses_[scope];
    if (now < pause.end) {
        return;
    }
    pause.length = std::clamp(pause.length * 2, shortest, longest);
    pause.end = now + pause.length;
    pause.cause = failure.cause;
    listener_(topicOf(scope), describe(scope, pause.cause, pause.length));
}

void StartPauses::endUnused(const std::set<std::string>& repositories) {
    std::vector<std::string> unused;
    for (const auto& [scope, pause] : pauses_) {
        const bool isUsed = scope == everything ? !repositories.empty() : repositories.contains(scope);
        if (!isUsed) {
            unused.push_back(scope);
        }
    }
    for (const std::string& scope : unused) {
        end(scope);
    }
}

bool StartPauses::arePaused(const std::string& repository, TimePoint now) const {
    return std::ranges::any_of(pauses_, [&](const auto& pause) {
        const auto& [scope, its] = pause;
        return (scope == repository || scope == everything) && now < its.end;
    });
}

std::optional<std::string> StartPauses::trouble(const std::string& repository) const {
    for (const std::string& scope : {everything, repository}) {
        const auto pause = pauses_.find(scope);
        if (pause != pauses_.end()) {
            return pause->second.cause;
        }
    }
    return std::nullopt;
}

void StartPauses::end(const std::string& scope) {
    if (pauses_.erase(scope) > 0) {
        listener_(topicOf(scope), "");
    }
}

}  // namespace quernlight::host
