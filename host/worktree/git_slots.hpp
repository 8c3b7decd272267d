#pragma once

#include <cstddef>
#include <memory>

#include "quernlight/git/git_runner.hpp"

namespace quernlight::host {

/// So many gits run at once for all who share this, and no more; the others wait in the order in which they
/// came. Used on one executor; the runs may outlive it.
class GitSlots {
  public:
    explicit GitSlots(std::size_t most);

    /// The same git, which waits for its turn first.
    GitRunner inTurn(GitRunner run);

  private:
    class Turns;

    std::shared_ptr<Turns> turns_;
};

}  // namespace quernlight::host
