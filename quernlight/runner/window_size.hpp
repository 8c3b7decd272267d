#pragma once

#include <sys/ioctl.h>

namespace quernlight {

/// A terminal's size for the kernel: each value raised to at least 1, no pixel sizes. A value beyond 16 bits
/// is a mistake in the program and stops it, in every build.
winsize windowSize(int columns, int rows);

}  // namespace quernlight
