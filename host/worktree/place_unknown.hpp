#pragma once

#include <stdexcept>

namespace quernlight::host {

/// Git could not tell what is at a worktree's place; in its own words, or a sentence.
class PlaceUnknown : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace quernlight::host
