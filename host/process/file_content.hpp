#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace quernlight::host {

/// Whether a symbolic link at the path's end leads on.
enum class LastLink { followed, refused };

inline constexpr std::size_t largestConfiguration = std::size_t{1} << 20U;  ///< bytes of a person's file

/// What a regular file holds that others may have made; nothing where there is none, or something else (a
/// pipe, a device), and when it is larger or cannot be read. Never waits for anybody.
std::optional<std::string> fileContent(const std::filesystem::path& file, std::size_t largest, LastLink link);

}  // namespace quernlight::host
