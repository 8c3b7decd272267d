#pragma once

#include <string>
#include <vector>

#include "host/process/scratch_directory.hpp"
#include "host/worktree/worktree_pointers.hpp"

namespace quernlight::host {

/// A copy of what git keeps for one worktree alone, its index above all, in which git can work on the
/// worktree's files while the worktree's own stays as it is. It goes with this object.
class WorktreeSnapshot {
  public:
    /// Of a worktree whose pointers are intact. Throws std::filesystem::filesystem_error, and UserError when
    /// there is no room.
    explicit WorktreeSnapshot(const WorktreePointers& pointers);

    /// What comes before a git's command.
    std::vector<std::string> options() const;

  private:
    std::string place_;
    ScratchDirectory scratch_;
};

}  // namespace quernlight::host
