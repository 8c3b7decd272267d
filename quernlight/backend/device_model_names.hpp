#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace quernlight {

/// Turns the hardware identifier of a bug report ("iPhone15,2") into words for people ("iPhone 14 Pro").
/// Pure functions over a constant table, safe to call from any thread. Nothing here fails: an identifier that
/// the table does not know is an ordinary outcome.
struct DeviceModelNames {
    /// The marketing name for a hardware identifier, or nothing when the identifier is absent, blank or
    /// unknown. White space around the identifier is ignored; otherwise it must match exactly, letter case
    /// included. The result points into the table and stays valid as long as the program.
    static std::optional<std::string_view> name(std::optional<std::string_view> identifier);

    /// The one-line device text shown for a bug, such as "iPhone 14 Pro (iPhone15,2)". `name` is what the
    /// reporter calls the device and wins over the marketing name. Both are trimmed; blank counts as absent.
    /// Nothing when both are absent.
    static std::optional<std::string> displayName(std::optional<std::string_view> identifier,
                                                  std::optional<std::string_view> name);
};

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
