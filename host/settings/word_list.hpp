#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quernlight::host {

/// The space-separated words of a line. A word in double quotes may hold blanks; within the quotes \" is a
/// quote and \\ a backslash. Nothing when a quote is left open. Commas between words are not taken away.
std::optional<std::vector<std::string>> splitWords(std::string_view line);

/// The line that `splitWords` takes apart into these words.
std::string joinWords(const std::vector<std::string>& words);

}  // namespace quernlight::host
