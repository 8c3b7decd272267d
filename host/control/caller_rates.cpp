#include "host/control/caller_rates.hpp"

#include <algorithm>

namespace quernlight::host {

std::string nameOf(const Caller& caller) {
    if (caller.isPerson) {
        return "people";
    }
    return caller.session ? "session " + upperCaseText(*caller.session) : "agents";
}

bool CallerRates::takeNow(const std::string& callerName, RateLimiter::TimePoint now) {
    auto found = buckets_.find(callerName);
    if (found == buckets_.end()) {
        if (buckets_.size() >= most) {
            forgetTheOldest();
        }
        found = buckets_.emplace(callerName, Bucket{.rate = RateLimiter(perSecond_, burst_)}).first;
    }
    found->second.used = now;
    return found->second.rate.takeNow(now);
}

void CallerRates::forgetTheOldest() {
    buckets_.erase(
        std::ranges::min_element(buckets_, {}, [](const auto& named) { return named.second.used; }));
}

}  // namespace quernlight::host
