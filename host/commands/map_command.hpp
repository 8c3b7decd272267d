#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "quernlight/platform/task.hpp"
#include "quernlight/queue/mapping_repository.hpp"

namespace quernlight::host {

struct MapSetOptions {
    std::string bundleID{};
    std::string appName{};
    std::string repo{};
    std::string baseBranch = "main";
    std::optional<std::string> worktrees{};
    std::optional<std::filesystem::path> home{};
};

/// Checks the repository and its base branch, stores the mapping in `options.home`, which must be set and
/// owned by this process, and releases the bugs that waited for it. Returns the mapping. Throws UserError.
Task<AppMapping> setMapping(MapSetOptions options);

/// `quernlight-dispatch map set`: checks the repository and its base branch, stores the mapping and releases
/// the bugs that waited for it. Returns the program's exit status. Throws UserError.
int mapSetCommand(const MapSetOptions& options);

/// `quernlight-dispatch map list`: one line per mapping.
int mapListCommand(const std::optional<std::filesystem::path>& home);

}  // namespace quernlight::host
