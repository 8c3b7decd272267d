#pragma once

#include <sys/types.h>

#include "quernlight/platform/process_table.hpp"

namespace quernlight {

/// Whether `spawnProcess` of this program has started that very process. A child of this program that it has
/// not started came to it as an orphan (see adoptOrphans). From any thread.
bool isStartedHere(const ProcessEntry& process);

/// Remembers a child that was just started and cannot have been reaped yet; for `spawnProcess`.
void rememberStarted(pid_t child);

}  // namespace quernlight
