#pragma once

#include <string>

namespace quernlight::host {

/// What became of a call to a tool.
enum class ToolOutcome {
    done,
    badArguments,  ///< nothing was changed, as with the next three
    refused,
    tooOften,
    failed,
    unknown,  ///< whether something was changed, that is
};

/// The outcome, and what is said to the agent: JSON when it is done, else a sentence that it can act on.
struct ToolResult {
    ToolOutcome outcome = ToolOutcome::done;
    std::string text{};

    bool operator==(const ToolResult&) const = default;
};

/// Whether the call may have changed something at the backend, so that it must not be made again.
constexpr bool mayHaveChanged(ToolOutcome outcome) {
    return outcome == ToolOutcome::done || outcome == ToolOutcome::unknown;
}

}  // namespace quernlight::host
