#include "quernlight/queue/app_mapping.hpp"

#include "quernlight/platform/text.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight {

std::string AppMapping::resolvedWorktreeRootPath() const {
    if (worktreeRootPath && !trimmed(*worktreeRootPath).empty()) {
        return standardizedPath(*worktreeRootPath);
    }
    return repoPath;
}

}  // namespace quernlight
