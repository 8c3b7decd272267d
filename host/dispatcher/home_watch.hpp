#pragma once

#include "host/dispatcher/chore.hpp"

namespace quernlight::host {

/// Notices that the dispatch home was taken away and is back, and that it can be written again. Used on the
/// dispatcher's executor.
class HomeWatch {
  public:
    explicit HomeWatch(ChoreContext& context) : context_(context), services_(context.services) {}

    /// One alert for as long as the home is away. A run once has nothing to wait for and ends. Wanted about
    /// once a second.
    void lookForHome();

    /// Tries to write once it is time to, after something could not be written.
    Task<void> tryWriting();

  private:
    ChoreContext& context_;
    SessionServices& services_;
    bool isAway_ = false;  // as it was last told
};

}  // namespace quernlight::host
