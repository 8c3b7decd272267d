#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace quernlight {

/// Bytes that new processes can have without others being swapped out, as the system estimates them; nothing
/// where it does not tell. On Linux a memory limit of the control group counts too. From any thread; never
/// throws.
std::optional<std::uint64_t> availableMemory();

/// Linux only: what `availableMemory` reads from the files of proc(5) and of the control group that lie
/// beneath `root`, which is "/" for the machine itself. In bytes; nothing when the machine's own estimate is
/// not there.
std::optional<std::uint64_t> availableMemoryUnder(const std::filesystem::path& root);

}  // namespace quernlight
