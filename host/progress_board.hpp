#pragma once

#include <string>

#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// What one bug's line shows.
struct BugProgress {
    std::string bugID{};
    std::string appName{};
    std::string title{};
    std::string stage{};   ///< "preparing worktree", "working", ...
    std::string detail{};  ///< the agent's last line, or why it failed; may be empty
    bool finished = false;
};

/// Where the program tells people what moves. Implementations are used on one executor.
class ProgressBoard {
  public:
    virtual ~ProgressBoard() = default;

    /// The bug's line now reads so.
    virtual void show(const BugProgress& progress) = 0;

    /// Something to tell that belongs to no bug's line.
    virtual void note(const std::string& sentence) = 0;

    /// No more changes; what is on the screen stays.
    virtual void close() {}
};

}  // namespace quernlight::host
