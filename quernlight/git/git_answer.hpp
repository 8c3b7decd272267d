#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quernlight {

// What git answered, out of the combined output of a run that succeeded: lines by which git warns or advises
// on standard error ("warning: ", "hint: ", "error: ") are no values. Pure.

/// Those lines that are an answer, as they stand.
std::vector<std::string_view> answerLines(std::string_view output);

/// The same lines as one text, trimmed at both ends.
std::string answerText(std::string_view output);

}  // namespace quernlight
