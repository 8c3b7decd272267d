#pragma once

#include <string>

#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// A line that is typed on the terminal that is standard input, after `prompt`, and not shown there; without
/// its line end, and empty when the input has ended. The terminal echoes again once this returns, throws or
/// is cancelled; meanwhile no key suspends the program. Throws UserError when it cannot be kept from echoing.
Task<std::string> readHiddenLine(std::string prompt);

}  // namespace quernlight::host
