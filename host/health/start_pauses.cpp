#include "host/health/start_pauses.hpp"

#include <algorithm>
#include <vector>

namespace quernlight::host {
namespace {

std::string describe(const std::string& scope, const std::string& cause, std::chrono::seconds length) {
    const std::string who = scope.empty() ? "No bug is started" : "No bug of " + scope + " is started";
    return who + " for the next " + std::to_string(length.count()) + " s, then it is tried again: " + cause;
}

}  // namespace

void StartPauses::failed(const OutsideFailure& failure, TimePoint now) {
    const std::string scope = failure.repository.value_or(everything);
    Pause& pause = pauses_[scope];
    if (now < pause.end && now + failure.lasts.value_or(std::chrono::seconds(0)) <= pause.end) {
        return;
    }
    if (!failure.lasts) {
        pause.length = std::clamp(pause.length * 2, shortest, longest);
    }
    const std::chrono::seconds length = failure.lasts ? std::max(*failure.lasts, shortest) : pause.length;
    pause.end = now + length;
    pause.cause = failure.cause;
    listener_(scope, describe(scope, pause.cause, length));
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

/// Of the repository's own pause and that of all starts the one that ends last.
std::optional<StartPause> StartPauses::pauseOf(const std::string& repository, TimePoint now) const {
    const Pause* last = nullptr;
    for (const std::string& scope : {everything, repository}) {
        const auto pause = pauses_.find(scope);
        const bool holds = pause != pauses_.end() && now < pause->second.end;
        if (holds && (!last || pause->second.end > last->end)) {
            last = &pause->second;
        }
    }
    if (!last) {
        return std::nullopt;
    }
    return StartPause{.cause = last->cause, .left = std::chrono::ceil<std::chrono::seconds>(last->end - now)};
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
        listener_(scope, "");
    }
}

}  // namespace quernlight::host
