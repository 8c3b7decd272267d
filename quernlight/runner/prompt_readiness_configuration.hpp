#pragma once

#include <string>

namespace quernlight {

/// What must have happened on an agent's terminal before the initial prompt may be typed. Delays are in
/// seconds. A value built without arguments is what `codex` needs.
struct PromptReadinessConfiguration {
    double quietDelay = 1.5;            ///< output must have been quiet this long
    double maxDelay = 45.0;             ///< after this long since the start the prompt is ready regardless
    std::string sentinel = "\u203A";    ///< text whose appearance marks the prompt; empty means none
    bool sentinelRequiresQuiet = true;  ///< whether a seen sentinel still waits for the quiet period
    bool waitForCodexStartup = true;    ///< whether the agent's start-up lines hold the prompt back
    double startupStaleDelay = 8.0;     ///< start-up activity older than this no longer blocks

    /// For `codex` sessions.
    static PromptReadinessConfiguration codexDefault() { return {}; }

    bool operator==(const PromptReadinessConfiguration&) const = default;
};

}  // namespace quernlight
