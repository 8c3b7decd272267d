#include "host/health/start_pauses.hpp"

#include <algorithm>

namespace quernlight::host {
namespace {

bool isOfAll(const std::string& scope) {
    return scope == StartPauses::everything || scope == StartPauses::agentsWork;
}

std::string describe(const std::string& scope, const std::string& cause, std::chrono::seconds length) {
    const std::string who = isOfAll(scope) ? "No bug is started" : "No bug of " + scope + " is started";
    return who + " for the next " + std::to_string(length.count()) +
           " s, then it is tried again (at once with: quernlight-dispatch unpause): " + cause;
}

std::string describeTry(const EndedPause& pause) {
    const std::string who = pause.repository.empty() ? "Bugs are" : "A bug of " + pause.repository + " is";
    return who + " started now, since a person says so; before that: " + pause.cause;
}

}  // namespace

void StartPauses::failed(const OutsideFailure& failure, TimePoint now) {
    const std::string scope = failure.stopsWork ? agentsWork : failure.repository.value_or(everything);
    Pause& pause = pauses_[scope];
    if (now < pause.end && now + failure.lasts.value_or(std::chrono::seconds(0)) <= pause.end) {
        return;
    }
    if (!failure.lasts) {
        pause.length = std::clamp(pause.length * 2, failure.pauses.first, failure.pauses.longest);
    }
    const std::chrono::seconds length =
        failure.lasts ? std::max(*failure.lasts, PauseLengths{}.first) : pause.length;
    pause.end = now + length;
    pause.until = failure.until;
    pause.cause = failure.cause;
    listener_(scope, describe(scope, pause.cause, length));
}

void StartPauses::follow(TimePoint now, Instant wall) {
    for (auto& [scope, pause] : pauses_) {
        if (!pause.until) {
            continue;
        }
        pause.end = std::max(now, now + std::chrono::duration_cast<TimePoint::duration>(*pause.until - wall));
        if (pause.end == now) {
            pause.until.reset();
        }
    }
}

void StartPauses::agentStarted() {
    refused_.clear();
    end(everything);
}

void StartPauses::agentWorked(TimePoint since) {
    const auto pause = pauses_.find(agentsWork);
    if (pause != pauses_.end() && since >= pause->second.end) {
        end(agentsWork);
    }
}

std::size_t StartPauses::goalRefused(const std::string& bugID) {
    refused_.insert(bugID);
    return refused_.size();
}

std::vector<EndedPause> StartPauses::tryNow(TimePoint now) {
    std::vector<EndedPause> ended;
    std::vector<std::string> scopes;
    for (auto& [scope, pause] : pauses_) {
        if (now < pause.end) {
            const auto left = std::chrono::ceil<std::chrono::seconds>(pause.end - now);
            ended.push_back({.repository = isOfAll(scope) ? "" : scope, .cause = pause.cause, .left = left});
            scopes.push_back(scope);
            pause.end = now;
            pause.until.reset();
        }
    }
    for (std::size_t at = 0; at < ended.size(); ++at) {
        listener_(scopes[at], describeTry(ended[at]));
    }
    return ended;
}

void StartPauses::endUnused(const std::set<std::string>& repositories) {
    std::vector<std::string> unused;
    for (const auto& [scope, pause] : pauses_) {
        const bool isUsed = isOfAll(scope) ? !repositories.empty() : repositories.contains(scope);
        if (!isUsed && !pause.until) {
            unused.push_back(scope);
        }
    }
    for (const std::string& scope : unused) {
        end(scope);
    }
}

/// Of the pauses that hold for the repository the one that ends last.
std::optional<StartPause> StartPauses::pauseOf(const std::string& repository, TimePoint now) const {
    const Pause* last = nullptr;
    for (const std::string& scope : {everything, agentsWork, repository}) {
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
    for (const std::string& scope : {everything, agentsWork, repository}) {
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
