#pragma once

#include <filesystem>

#include <sys/ioctl.h>

#include "quernlight/platform/file_descriptor.hpp"

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

}  // namespace quernlight
