#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace quernlight::host {

/// What git ignores in a worktree, and what nobody keeps when that goes.
struct IgnoredFiles {
    std::int64_t files = 0;
    std::uint64_t bytes = 0;
    std::int64_t repositories = 0;  ///< of git, in directories that are ignored
    std::string ownRepository{};    ///< where one has commits that it has from nowhere; empty: none has

    bool operator==(const IgnoredFiles&) const = default;
};

/// Below `worktree`, at these paths, files or directories. Blocks; links are not followed; what cannot be
/// looked at counts as one file.
IgnoredFiles ignoredFiles(const std::filesystem::path& worktree, const std::vector<std::string>& paths);

/// "12 files that git ignores (3.1 MiB)"; empty for none. Pure.
std::string describe(const IgnoredFiles& ignored);

}  // namespace quernlight::host
