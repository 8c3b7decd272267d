#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace quernlight {

/// What one run of git came to.
struct GitCommandResult {
    /// Git's exit status: 0 is success, 128 plus its number a death by signal, below 0 none that is known.
    std::int32_t status = 0;
    std::string output;  ///< standard output and standard error together, UTF-8, trimmed at both ends

    /// Why git could not be started, or (timed_out) was not awaited to its end; equality does not look at it.
    std::error_code systemError{};

    bool succeeded() const { return status == 0; }

    /// Git's own words, or `fallback` when it printed nothing.
    std::string outputOr(std::string fallback) const { return output.empty() ? fallback : output; }

    bool operator==(const GitCommandResult& other) const {
        return status == other.status && output == other.output;
    }
};

// What git answered, out of the combined output of a run that succeeded: lines by which git warns or advises
// on standard error ("warning: ", "hint: ", "error: ") are no values. Pure.

/// Those lines that are an answer, as they stand.
std::vector<std::string_view> answerLines(std::string_view output);

/// The same lines as one text, trimmed at both ends.
std::string answerText(std::string_view output);

}  // namespace quernlight
