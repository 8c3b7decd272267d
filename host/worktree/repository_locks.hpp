#pragma once

#include <map>
#include <string>

#include "host/worktree/shared_fetches.hpp"
#include "quernlight/platform/operation_queue.hpp"

namespace quernlight::host {

/// Worktrees of one repository are prepared one after the other: two fetches at once would fight for the same
/// refs, and the loser would fail. Used on one executor.
class RepositoryLocks {
  public:
    /// The queue of the repository at `path`; it lives as long as this object.
    OperationQueue& of(const std::string& path) { return queues_[path]; }

    /// What those who wait in that queue share; it lives as long as this object.
    SharedFetches& fetchesOf(const std::string& path) { return fetches_[path]; }

  private:
    std::map<std::string, OperationQueue> queues_;
    std::map<std::string, SharedFetches> fetches_;
};

}  // namespace quernlight::host
