#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "quernlight/platform/process_table.hpp"

namespace quernlight::host {

/// A process that works in the directory or below it, or has a file there open for writing, whoever has
/// started it. Nothing when none can be seen, or the directory is gone.
std::optional<ProcessEntry> processIn(const std::filesystem::path& directory,
                                      const std::vector<ProcessEntry>& table);

}  // namespace quernlight::host
