#include <fstream>

#include <unistd.h>

#include "quernlight/platform/resident_memory.hpp"

namespace quernlight {

/// The second number of proc_pid_statm(5), in pages there.
std::optional<std::uint64_t> residentMemory() {
    std::ifstream file("/proc/self/statm");
    std::uint64_t all = 0, resident = 0;
    const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    return file >> all >> resident ? std::optional(resident * page) : std::nullopt;
}

}  // namespace quernlight
