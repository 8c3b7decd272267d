#pragma once

#include <map>
#include <string>

#include "quernlight/platform/operation_queue.hpp"

namespace quernlight::host {

/// Worktrees of one repository are prepared one after the other: two fetches at once would fight for the same
/// refs, and the loser would fail. Used on one executor.
class RepositoryTurns {
  public:
    /// The queue of the repository at `path`; it lives as long as this object.
    OperationQueue& of(const std::string& path) { return queues_[path]; }

  private:
    std::map<std::string, OperationQueue> queues_;
};

}  // namespace quernlight::host
