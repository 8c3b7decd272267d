#pragma once

#include "quernlight/queue/bug_queue_item.hpp"
#include "quernlight/storage/sql_value.hpp"

namespace quernlight {

// How queue items and events lie in their tables' rows.

/// For the twenty columns of an insert, in table order.
SQLValues insertValues(const BugQueueItem& item);

/// For the fifteen columns that an update may change, in table order, and the id.
SQLValues updateValues(const BugQueueItem& item);

/// Columns are found by name. Throws DatabaseError (missingColumn).
BugQueueItem queueItemOfRow(const Row& row);
QueueEvent queueEventOfRow(const Row& row);

}  // namespace quernlight
