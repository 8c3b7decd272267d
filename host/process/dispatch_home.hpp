#pragma once

#include <filesystem>
#include <optional>

namespace quernlight::host {

/// The dispatch home: `chosen`, or the user's own. Created when missing, and for its user alone (see
/// private_files.hpp). Throws UserError when that fails.
std::filesystem::path openDispatchHome(const std::optional<std::filesystem::path>& chosen);

/// The same for a command to which a new home would be of no use. Changes nothing. Throws UserError when it
/// holds no queue.
std::filesystem::path findDispatchHome(const std::optional<std::filesystem::path>& chosen);

/// The same place whether it is there or not. Throws UserError when that cannot be told.
std::filesystem::path locateDispatchHome(const std::optional<std::filesystem::path>& chosen);

}  // namespace quernlight::host
