#pragma once

#include <cstdint>
#include <optional>

namespace quernlight {

/// Bytes of this process that lie in memory now; nothing where the system does not tell. From any thread;
/// never throws.
std::optional<std::uint64_t> residentMemory();

}  // namespace quernlight
