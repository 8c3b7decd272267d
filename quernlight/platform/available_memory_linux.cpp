#include "quernlight/platform/available_memory.hpp"

#include <algorithm>
#include <fstream>
#include <string>

namespace quernlight {
namespace {

/// "MemAvailable" of proc_meminfo(5), in KiB there.
std::optional<std::uint64_t> availableOnTheMachine(const std::filesystem::path& root) {
    std::ifstream file(root / "proc/meminfo");
    std::string name;
    std::uint64_t kibibytes = 0;
    for (std::string unit; file >> name >> kibibytes; std::getline(file, unit)) {
        if (name == "MemAvailable:") {
            return kibibytes * 1024;
        }
    }
    return std::nullopt;
}

std::optional<std::uint64_t> numberIn(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::uint64_t number = 0;
    return file >> number ? std::optional(number) : std::nullopt;
}

/// The inactive file pages of memory.stat are given back before anything fails (cgroup-v2's documentation).
std::uint64_t reclaimableIn(const std::filesystem::path& group) {
    std::ifstream file(group / "memory.stat");
    std::string name;
    for (std::uint64_t bytes = 0; file >> name >> bytes;) {
        if (name == "inactive_file") {
            return bytes;
        }
    }
    return 0;
}

/// Nothing when the group has no limit ("max").
std::optional<std::uint64_t> availableIn(const std::filesystem::path& group) {
    const auto limit = numberIn(group / "memory.max");
    const auto used = numberIn(group / "memory.current");
    if (!limit || !used) {
        return std::nullopt;
    }
    const std::uint64_t firmlyUsed = *used - std::min(*used, reclaimableIn(group));
    return *limit - std::min(*limit, firmlyUsed);
}

}  // namespace

std::optional<std::uint64_t> availableMemoryUnder(const std::filesystem::path& root) {
    const auto machine = availableOnTheMachine(root);
    const auto group = availableIn(root / "sys/fs/cgroup");
    return machine && group ? std::min(machine, group) : machine;
}

std::optional<std::uint64_t> availableMemory() {
    return availableMemoryUnder("/");
}

}  // namespace quernlight
