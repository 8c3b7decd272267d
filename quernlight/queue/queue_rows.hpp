#pragma once

#include <array>
#include <string>
#include <string_view>

#include "quernlight/queue/bug_queue_item.hpp"
#include "quernlight/storage/connection.hpp"

namespace quernlight {

// How queue items and events lie in their tables' rows.

/// For the twenty columns of an insert, in table order.
SQLValues insertValues(const BugQueueItem& item);

/// For the fifteen columns that an update may change, in table order, and the id.
SQLValues updateValues(const BugQueueItem& item);

inline constexpr std::array<std::string_view, 20> queueItemColumns{
    "id",
    "bug_id",
    "app_id",
    "app_name",
    "bundle_id",
    "title",
    "bug_url",
    "queue_position",
    "queue_mode",
    "status",
    "goal_flow",
    "priority",
    "active_session_id",
    "codex_session_id",
    "error_message",
    "created_at",
    "added_at",
    "started_at",
    "completed_at",
    "cancelled_at",
};

/// Reads the items of one statement's rows. The columns are found by name in the first row, and by index in
/// every other. Throws DatabaseError (missingColumn).
class QueueItemReader {
  public:
    BugQueueItem item(const Statement& row);

    /// The id of the bug, however little of the item can be read; empty when not even that can.
    std::string bugID(const Statement& row);

  private:
    void findColumns(const Statement& row);

    std::array<int, queueItemColumns.size()> indexes_{};
    bool found_ = false;
};

/// Columns are found by name. Throws DatabaseError (missingColumn).
BugQueueItem queueItemOfRow(const Row& row);
QueueEvent queueEventOfRow(const Row& row);

}  // namespace quernlight
