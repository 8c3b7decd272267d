#pragma once

#include "host/events/progress_board.hpp"
#include "host/store/dispatch_store.hpp"

namespace quernlight::host {

/// Shows every event that is stored from now on, in the order of writing, also of an item that is gone before
/// it is shown. The database keeps them for it in a temporary table of its one connection, since row numbers
/// of deleted events are used again and no time stamp is unique. Used on one executor.
class EventTail {
  public:
    EventTail(DispatchStore store, ProgressBoard& board) : store_(std::move(store)), board_(board) {}

    /// What is stored from now on will be shown. Throws DatabaseError.
    Task<void> begin();

    /// Shows what has been stored since the last time. Throws DatabaseError.
    Task<void> showNew();

  private:
    const DispatchStore store_;
    ProgressBoard& board_;
};

}  // namespace quernlight::host
