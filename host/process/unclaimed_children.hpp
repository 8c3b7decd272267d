#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quernlight/platform/process_table.hpp"

namespace quernlight::host {

/// In the environment of what this program opens for a person and leaves to itself, such as a browser.
inline constexpr std::string_view openedForPerson = "QUERNLIGHT_DISPATCH_OPENED=1";

/// Finds the orphans that have come to this process (see adoptOrphans) and that no session knows as its own,
/// so that a person hears of each once. Used on one executor.
class UnclaimedChildren {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// Whether somebody in this program started the process or will end it.
    using Claim = std::function<bool(const ProcessEntry&)>;

    /// A session looks for its own every second, or a little later.
    static constexpr std::chrono::seconds timeout{5};

    /// Those of this table that are to be told of now; `self` is this process.
    std::vector<ProcessEntry> due(const std::vector<ProcessEntry>& table, pid_t self, const Claim& isClaimed,
                                  TimePoint now);

  private:
    using Key = std::pair<pid_t, std::string>;  // pid and start time

    std::map<Key, TimePoint> seenSince_;
    std::set<Key> told_;
};

}  // namespace quernlight::host
