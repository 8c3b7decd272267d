#pragma once

#include "quernlight/platform/spawn.hpp"
#include "quernlight/runner/start_session_request.hpp"

namespace quernlight {

/// What to spawn for a session on `terminal`. A command whose first element contains a "/" is started as it
/// is; any other is looked up by /usr/bin/env, hence on the child's own PATH. Environment entries are sorted
/// by key. The launch command must not be empty.
SpawnRequest agentSpawnRequest(const StartSessionRequest& request, TerminalStreams terminal);

}  // namespace quernlight
