#pragma once

#include <filesystem>

#include <sys/ioctl.h>

#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/spawn.hpp"
#include "quernlight/runner/start_session_request.hpp"

namespace quernlight {

/// A pseudo-terminal with both sides open here, each closed on exec.
struct OpenTerminal {
    FileDescriptor slave;
    FileDescriptor master;         // destroyed, hence closed, before the slave
    std::filesystem::path device;  ///< the slave side, as a child opens it
};

/// Opens a fresh pseudo-terminal with default settings. From any thread. Throws std::system_error with the
/// error number of the failing call, and then nothing is left open.
OpenTerminal openTerminal(const winsize& size);

/// `openpty`, which each operating system declares in a header of its own. Returns 0, or -1 with errno set.
int openTerminalPair(int& master, int& slave, const winsize& size);

/// A terminal's size for the kernel: each value raised to at least 1, no pixel sizes. A value beyond 16 bits
/// is a mistake in the program and stops it, in every build.
winsize windowSize(int columns, int rows);

/// What to spawn for a session on `terminal`. A command whose first element contains a "/" is started as it
/// is; any other is looked up by /usr/bin/env, hence on the child's own PATH. Environment entries are sorted
/// by key. The launch command must not be empty.
SpawnRequest agentSpawnRequest(const StartSessionRequest& request, TerminalStreams terminal);

}  // namespace quernlight
