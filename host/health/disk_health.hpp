#pragma once

#include <chrono>
#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "host/process/clock.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {

/// Whether the queue and the dispatch home can be written, from everything that writes there. Tells once when
/// they no longer can, and once when they can again. A write that works is no sign of that, for it may have
/// been small, or none at all: while there is trouble somebody has to try (disk_probe.hpp). Used on one
/// executor.
class DiskHealth {
  public:
    /// Called with the trouble in one sentence, and with an empty text when it is over.
    using Listener = std::function<void(const std::string& trouble)>;

    /// `clock` outlives this.
    DiskHealth(const Clock& clock, Listener listener) : clock_(clock), listener_(std::move(listener)) {}

    void failed(const DatabaseError& error);
    void failed(const std::filesystem::filesystem_error& error);

    /// Whether it is time to try. Trouble that comes back soon after it was over is tried ever more seldom,
    /// from a second to five minutes, so that what trying cannot see is not told day and night.
    bool isTrialDue() const { return !isWell_ && clock_.steadyNow() >= nextTrial_; }

    /// Everything that could not be written can be.
    void recovered();

    bool isWell() const { return isWell_; }

    /// What could not be written since it was well; it need not exist.
    const std::set<std::filesystem::path>& unwritten() const { return unwritten_; }

  private:
    void fail(const std::string& what, const std::exception& error);

    const Clock& clock_;
    Listener listener_;
    std::set<std::filesystem::path> unwritten_;
    bool isWell_ = true;
    std::optional<Clock::TimePoint> recoveredAt_;
    std::chrono::seconds timeout_{0};  // before the first trial of this trouble
    Clock::TimePoint nextTrial_{};
};

}  // namespace quernlight::host
