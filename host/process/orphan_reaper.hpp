#pragma once

#include <chrono>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "quernlight/platform/process_table.hpp"

namespace quernlight::host {

/// Reaps the zombies of orphans that this process has adopted (see adoptOrphans), each by its pid. Whoever
/// starts a child here reaps it within moments of its exit, so one that is still a zombie after `timeout`
/// has nobody else. Used on one executor.
class OrphanReaper {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::seconds timeout{10};

    /// The pids of this table's zombies that are due now; `self` is this process.
    std::vector<pid_t> due(const std::vector<ProcessEntry>& table, pid_t self, TimePoint now);

    /// Reaps what is due.
    void sweep();

  private:
    std::map<std::pair<pid_t, std::string>, TimePoint> seenSince_;  // zombies, by pid and start time
};

}  // namespace quernlight::host
