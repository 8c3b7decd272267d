#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace quernlight {

/// One kind of hardware: the identifier that the device reports about itself, and what people call the
/// device.
struct DeviceModelRow {
    std::string_view identifier;
    std::string_view name;
};

inline constexpr std::size_t deviceModelCount = 324;

/// Every known kind of hardware, each identifier once, grouped by product. Constant data: lives as long as
/// the program and is safe to read from any thread.
std::span<const DeviceModelRow, deviceModelCount> deviceModelTable();

}  // namespace quernlight
