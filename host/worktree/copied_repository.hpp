#pragma once

#include <filesystem>

namespace quernlight::host {

/// Whether a repository, by its ".git", has every commit that its branches, its stash or its HEAD name from
/// elsewhere, as a build tool's clone has: a remote's branch or a packed tag is the same commit. Read from
/// its files, for a git in it would run what its settings say. What cannot be read, or is kept in another way
/// than in files, is no copy. Blocks.
bool isCopiedRepository(const std::filesystem::path& dotGit);

}  // namespace quernlight::host
