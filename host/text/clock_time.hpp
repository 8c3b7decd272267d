#pragma once

#include <string>

#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// The time of day as the person's own clock has it, "12:34:56".
std::string clockTime(Instant instant);

}  // namespace quernlight::host
