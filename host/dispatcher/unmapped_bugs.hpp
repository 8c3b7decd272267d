#pragma once

#include "host/session/session_services.hpp"

namespace quernlight::host {

/// What a person types to map the bug's app.
std::string commandToMap(const BugQueueItem& item);

/// Lets the bugs go on whose apps were given a repository while no dispatcher ran. Throws DatabaseError.
Task<void> releaseMappedBugs(SessionServices& services);

/// Names each bug that waits for a repository, with what a person types to map its app. Throws DatabaseError.
Task<void> nameUnmappedBugs(SessionServices& services);

}  // namespace quernlight::host
