#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "quernlight/platform/instant.hpp"
#include "quernlight/runner/recent_output.hpp"
#include "quernlight/runner/text_search.hpp"

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

/// What a session's terminal output has told so far about whether the agent takes typed input. A value
/// without clock or lock: the caller says what came when, and asks at any time it likes.
///
/// An agent first starts its MCP servers and loads its model; keys typed earlier are lost.
class PromptReadiness {
  public:
    PromptReadiness(Instant startedAt, PromptReadinessConfiguration configuration);

    /// Takes in one chunk of output, any bytes. Only the sentinel is found across chunks: a start-up line
    /// that is split over two chunks is not recognised.
    void recordOutput(std::string_view bytes, Instant date);

    /// Whether the prompt may be typed at `now`.
    bool isReady(Instant now) const;

    /// Whether the sentinel has been seen.
    bool sentinelMatched() const { return lastSentinelAt_.has_value(); }

    /// The time of the chunk that completed the sentinel last.
    std::optional<Instant> lastSentinelAt() const { return lastSentinelAt_; }

    /// The last output as text, at most 4096 user-perceived characters; what was not UTF-8 is U+FFFD.
    std::string_view recentOutput() const { return recentOutput_.text(); }

  private:
    void searchSentinel(std::string_view bytes, Instant date);
    void watchStartup(std::string_view bytes, Instant date);
    void readStartupLine(std::string_view line, Instant date);
    bool startupBlocks(Instant now) const;

    Instant startedAt_;
    PromptReadinessConfiguration configuration_;
    std::optional<Instant> lastOutputAt_;
    std::optional<Instant> lastSentinelAt_;
    std::optional<Instant> lastStartupActivityAt_;
    RecentOutput recentOutput_;
    TextSearch sentinel_;
    std::string sentinelCarry_;  // the end of earlier output, in which a sentinel may have begun
    bool mcpStartupSeen_ = false;
    bool mcpStartupSettled_ = false;
    bool modelLoadingSeen_ = false;
    bool modelReadySeen_ = false;
};

}  // namespace quernlight
