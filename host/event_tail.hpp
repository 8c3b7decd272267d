#pragma once

#include <cstdint>

#include "host/dispatch_store.hpp"
#include "host/progress_board.hpp"

namespace quernlight::host {

/// Shows every event that is stored from now on, whoever wrote it, in the order of writing. Used on one
/// executor.
class EventTail {
  public:
    EventTail(DispatchStore store, ProgressBoard& board) : store_(std::move(store)), board_(board) {}

    /// What is stored already is not shown. Throws DatabaseError.
    Task<void> skipToEnd();

    /// Shows what has been stored since the last time. Throws DatabaseError.
    Task<void> showNew();

  private:
    const DispatchStore store_;
    ProgressBoard& board_;
    std::int64_t shown_ = 0;  // row id of the last event that was shown
};

}  // namespace quernlight::host
