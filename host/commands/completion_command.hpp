#pragma once

#include <string>
#include <vector>

#include "host/manual/command_description.hpp"

namespace quernlight::host {

/// What shells call it by.
inline constexpr std::string_view completeWord = "__complete";

/// Prints what may stand in place of the last word, see completionOf, candidates from the home among it.
/// Reads the home as it is, changes nothing, and prints nothing where there is none or it cannot be read.
/// Returns the exit status.
int completeWords(const CommandDescription& program, const std::vector<std::string>& words);

}  // namespace quernlight::host
