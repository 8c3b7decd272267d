#pragma once

#include <cstdint>
#include <string>
#include <system_error>

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

}  // namespace quernlight
