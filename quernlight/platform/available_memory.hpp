#pragma once

#include <cstdint>
#include <optional>

namespace quernlight {

/// Bytes that new processes can have without others being swapped out, as the system estimates them; nothing
/// where it does not tell. On Linux a memory limit of the control group counts too. From any thread; never
/// throws.
std::optional<std::uint64_t> availableMemory();

}  // namespace quernlight
