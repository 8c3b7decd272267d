#pragma once

#include <chrono>
#include <string>

#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// The time of day as the person's own clock has it, "12:34:56".
std::string clockTime(Instant instant);

/// A duration with one place behind the point: "2.4 s".
std::string secondsText(std::chrono::milliseconds duration);

}  // namespace quernlight::host
