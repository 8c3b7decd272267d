#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace quernlight {

/// What `availableMemory` reads from the files of proc(5) and of the control group that lie beneath `root`,
/// which is "/" for the machine itself. In bytes; nothing when the machine's own estimate is not there.
std::optional<std::uint64_t> availableMemoryUnder(const std::filesystem::path& root);

}  // namespace quernlight
