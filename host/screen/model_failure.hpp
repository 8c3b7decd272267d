#pragma once

#include <optional>
#include <string>

#include "host/screen/screen_picture.hpp"

namespace quernlight::host {

/// The last notice above the composer or at the screen's end, if it says in words of its own that the model
/// refuses the agent or cannot be reached: a status of HTTP (401, 403, 429, 5xx), "unauthorized", "network".
/// Without its mark, on one line. For agents whose records do not tell it: words may deceive.
std::optional<std::string> modelFailure(const ScreenPicture& picture);

}  // namespace quernlight::host
