#pragma once

#include <array>
#include <chrono>
#include <string>

#include <poll.h>
#include <unistd.h>

#include "quernlight/platform/file_descriptor.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::test {

/// What comes next from a terminal's other side, whose kernel passes on what was written in order, but
/// neither at once nor as a whole. Empty once the terminal's last program has ended, and after the generous
/// bound.
inline std::string nextBytes(const FileDescriptor& master) {
    pollfd readable{.fd = master.get(), .events = POLLIN, .revents = 0};
    const auto bound = std::chrono::milliseconds(generousBound).count();
    std::array<char, 65536> bytes{};
    const bool comes = poll(&readable, 1, static_cast<int>(bound)) == 1;
    const ssize_t count = comes ? read(master.get(), bytes.data(), bytes.size()) : 0;
    return std::string(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
}

}  // namespace quernlight::test
