#pragma once

#include <memory>

#include "quernlight/platform/task.hpp"
#include "quernlight/storage/database.hpp"

namespace quernlight::host {

/// How a database file stands to what this program reads and writes.
enum class StoreLayout {
    older,    ///< empty, or an earlier version's: migrations have something to do
    current,  ///< all that this program needs is there
    newer,    ///< a later version's, of which this program knows nothing
};

/// Reads only. Throws DatabaseError.
Task<StoreLayout> layoutOf(std::shared_ptr<Database> database);

}  // namespace quernlight::host
