#include "host/control/asker_rates.hpp"

#include <algorithm>

namespace quernlight::host {

std::string nameOf(const ControlPeer& peer) {
    if (peer.isPerson) {
        return "people";
    }
    return peer.session ? "session " + upperCaseText(*peer.session) : "agents";
}

bool AskerRates::takeNow(const std::string& asker, RateLimiter::TimePoint now) {
    auto found = buckets_.find(asker);
    if (found == buckets_.end()) {
        if (buckets_.size() >= most) {
            forgetTheOldest();
        }
        found = buckets_.emplace(asker, Bucket{.rate = RateLimiter(perSecond_, burst_)}).first;
    }
    found->second.used = now;
    return found->second.rate.takeNow(now);
}

void AskerRates::forgetTheOldest() {
    buckets_.erase(
        std::ranges::min_element(buckets_, {}, [](const auto& named) { return named.second.used; }));
}

}  // namespace quernlight::host
