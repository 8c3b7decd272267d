#include "quernlight/git/worktree_naming.hpp"

#include <filesystem>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/text.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight {
namespace {

/// Letters, marks and numbers of the app's name; whatever lies between them is one "-".
std::string slug(std::string_view appName) {
    std::string slug;
    bool isGap = false;
    for (const char32_t scalar : unicodeScalars(appName)) {
        if (!isAlphanumeric(scalar)) {
            isGap = true;
            continue;
        }
        if (isGap && !slug.empty()) {
            slug += '-';
        }
        isGap = false;
        appendUtf8(slug, scalar);
    }
    return slug.empty() ? "app" : slug;
}

}  // namespace

std::string WorktreeNaming::standardizedPath(const std::string& path) {
    return quernlight::standardizedPath(path);
}

std::string WorktreeNaming::branchName(std::string_view appName, std::string_view bugID) {
    return slug(appName) + "-" + BugID::normalized(bugID);
}

std::string WorktreeNaming::worktreePath(const std::string& rootPath, std::string_view appName,
                                         std::string_view bugID) {
    const std::filesystem::path root(standardizedPath(rootPath));
    return (root / branchName(appName, bugID)).string();
}

std::string WorktreeNaming::defaultRootPath(const std::string& repoPath) {
    const std::filesystem::path repository(standardizedPath(repoPath));
    const std::string name = repository.filename().string();
    return (repository.parent_path() / (name.empty() ? "worktrees" : name + "-worktrees")).string();
}

bool WorktreeNaming::isInside(const std::string& path, const std::string& rootPath) {
    std::string root = standardizedPath(rootPath);
    if (!root.ends_with('/')) {
        root += '/';
    }
    const std::string candidate = standardizedPath(path);
    return candidate.starts_with(root) && candidate != root;  // "/" ends with one by itself
}

std::optional<std::string> WorktreeNaming::refusal(std::string_view bugID) {
    const std::string shortID = BugID::normalized(bugID);
    if (shortID.empty()) {
        return "Refusing a worktree for a bug whose id is empty.";
    }
    if (!BugID::isSafeFileName(shortID)) {
        return "Refusing a worktree for a bug whose id cannot be part of a directory name.";
    }
    return std::nullopt;
}

}  // namespace quernlight
