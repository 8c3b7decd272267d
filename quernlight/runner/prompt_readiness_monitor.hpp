#pragma once

#include <chrono>
#include <mutex>
#include <string_view>

#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/runner/prompt_readiness.hpp"

namespace quernlight {

/// Watches one session's terminal output until its initial prompt may be typed. Belongs to that session: it
/// is fed from where the output arrives, on any thread, while the task that will type the prompt waits. It
/// must outlive that wait; nothing in it is needed afterwards.
class PromptReadinessMonitor {
  public:
    PromptReadinessMonitor(Instant startedAt, PromptReadinessConfiguration configuration);

    /// Takes in one chunk of output that arrived at `date`. Cheap enough for a flood; never waits for long.
    void recordOutput(std::string_view bytes, Instant date);

    /// Whether the prompt may be typed at `now`.
    bool isReady(Instant now) const;

    /// Returns as soon as the prompt may be typed, looking again every `pollInterval`; at the latest one
    /// interval after the configuration's `maxDelay`. Cancellation ends it with `operation_aborted`.
    Task<void> waitUntilReady(std::chrono::milliseconds pollInterval);

  private:
    mutable std::mutex lock_;
    PromptReadiness readiness_;
};

}  // namespace quernlight
