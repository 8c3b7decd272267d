#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "host/control/caller.hpp"
#include "host/health/rate_limiter.hpp"

namespace quernlight::host {

/// What a connection counts for: people together, each session, and the agents' processes of which the
/// session is not known.
std::string nameOf(const Caller& caller);

/// How often each of those who ask may do so, each with a bucket of its own. Of so many are remembered who
/// have asked last; a bucket that is forgotten is a full one again. Used on one executor.
class CallerRates {
  public:
    static constexpr std::size_t most = 256;

    CallerRates(double perSecond, int burst) : perSecond_(perSecond), burst_(burst) {}

    bool takeNow(const std::string& callerName, RateLimiter::TimePoint now);

    std::size_t count() const { return buckets_.size(); }

  private:
    struct Bucket {
        RateLimiter rate;
        RateLimiter::TimePoint used{};
    };

    void forgetTheOldest();

    const double perSecond_;
    const int burst_;
    std::map<std::string, Bucket> buckets_;
};

}  // namespace quernlight::host
