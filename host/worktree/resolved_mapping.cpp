#include "host/worktree/resolved_mapping.hpp"

#include <filesystem>

#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {

std::string resolvedPath(const std::string& path) {
    try {
        return std::filesystem::weakly_canonical(WorktreeNaming::standardizedPath(path)).string();
    } catch (const std::filesystem::filesystem_error&) {
        return path;  // whoever uses it says what is wrong with it
    }
}

AppMapping resolved(AppMapping mapping) {
    const bool hasRoot = mapping.worktreeRootPath && !trimmed(*mapping.worktreeRootPath).empty();
    mapping.worktreeRootPath = resolvedPath(hasRoot ? *mapping.worktreeRootPath : mapping.repoPath);
    mapping.repoPath = resolvedPath(mapping.repoPath);
    return mapping;
}

}  // namespace quernlight::host
