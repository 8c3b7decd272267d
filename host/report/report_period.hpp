#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string_view>

#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// How far a person's clock is ahead of UTC at a time.
using ClockOffset = std::function<std::chrono::seconds(Instant)>;

/// The beginning of a period that ends now, as people write it: "30m", "12h", "2d", "1w", a date like
/// 2026-11-21 or a time like 2026-11-21T22:00 by the person's clock, or one with an offset of its own
/// (2026-11-21T22:00:00Z). Nothing for any other text, and for a time that is still to come.
std::optional<Instant> beginningOfPeriod(std::string_view text, Instant now, const ClockOffset& offset);

}  // namespace quernlight::host
