#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/screen/screen_picture.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// When the agent may be used again, as a notice of a usage limit says it ("at 10:43 AM", "in 3 hours");
/// empty when it says no time. Nothing when the agent's last notice is none of a usage limit.
std::optional<std::string> usageLimitUntil(const ScreenPicture& picture);

/// That time, in the time zone of this process: the next such time of day, on the day that is named with it,
/// or after so long ("in 2 days 3 hours"); a minute from now where that minute has just begun. Nothing when
/// it says no time that is known.
std::optional<Instant> instantOfUsageLimit(std::string_view until, Instant now);

}  // namespace quernlight::host
