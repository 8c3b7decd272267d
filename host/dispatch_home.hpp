#pragma once

#include <filesystem>
#include <optional>

namespace quernlight::host {

/// The dispatch home: `chosen`, or the user's own. Created when missing. Throws UserError when that fails.
std::filesystem::path openDispatchHome(const std::optional<std::filesystem::path>& chosen);

/// The same place without creating anything.
std::filesystem::path locateDispatchHome(const std::optional<std::filesystem::path>& chosen);

}  // namespace quernlight::host
