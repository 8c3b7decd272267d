#pragma once

#include <filesystem>

namespace quernlight::host {

/// Whether git would take the directory for a repository: a ".git", or one without files of its own (a bare
/// one). Blocks.
bool isRepository(const std::filesystem::path& directory);

/// Whether a repository, by its ".git" or as a bare one, has every commit that its branches, its stash or its
/// HEAD name from elsewhere, as a build tool's clone has: a remote's branch or a packed tag is the same
/// commit. Read from its files, for a git in it would run what its settings say. What cannot be read, or is
/// kept in another way than in files, is no copy; nor is a tag of a commit that was made in it. The branches
/// of a bare one that knows a remote count as that one's. Blocks.
bool isCopiedRepository(const std::filesystem::path& dotGit);

}  // namespace quernlight::host
