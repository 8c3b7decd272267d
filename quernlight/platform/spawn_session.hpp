#pragma once

#include <spawn.h>

namespace quernlight {

/// The part of a spawn that each operating system has its own calls for: a new session, the signals that the
/// attributes name, no inherited descriptor above 2, on macOS a child that answers for itself. Returns an
/// error number, 0 for success.
int prepareSession(posix_spawnattr_t& attributes, posix_spawn_file_actions_t& actions);

/// Adds "change directory" to the file actions. Returns an error number, 0 for success.
int addChangeDirectory(posix_spawn_file_actions_t& actions, const char* path);

}  // namespace quernlight
