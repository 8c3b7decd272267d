#pragma once

#include <chrono>
#include <string>

#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// A duration in its largest unit, rounded down: "12s", "4m", "3h", "2d". A negative one is "0s".
std::string shortDuration(std::chrono::milliseconds duration);

/// How long ago that was, "2d ago"; "now" within a second, and "in 4m" for what is to come.
std::string timeAgo(Instant instant, Instant now);

/// The person's own time, where its clock is `offset` ahead of UTC: "14:02" on the day that `now` is on,
/// "Mon 14:02" up to six days from it, "2026-11-03 14:02" on any other.
std::string localTime(Instant instant, Instant now, std::chrono::seconds offset);

/// How far the person's clock is, or was, ahead of UTC at that time.
std::chrono::seconds localOffset(Instant instant);

}  // namespace quernlight::host
