#pragma once

#include "quernlight/storage/connection.hpp"

namespace quernlight {

// Early files require a queue item of every attempt. SQLite cannot drop a constraint in place, so the table
// is made anew: renamed, created, copied and dropped. Both functions block.

/// The name, columns and constraints of the table of attempts, for a CREATE TABLE.
extern const char* const sessionAttemptsLayout;

/// Whether the attempts require a queue item, or a rebuild of a program that was cut off has left rows under
/// the legacy name.
bool attemptsNeedRebuild(Connection& connection);

/// Rebuilds the table, and gives back to it the rows that a rebuild of a program that was cut off has left
/// under the legacy name. All of it or, with an error, nothing; several processes may try at once. The
/// connection must not be in a transaction. Enforces foreign keys afterwards, also after an error.
void rebuildAttempts(Connection& connection);

}  // namespace quernlight
