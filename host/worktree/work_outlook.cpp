#include "host/worktree/work_outlook.hpp"

#include <algorithm>

#include "host/worktree/guarded_git.hpp"
#include "host/worktree/worktree_pointers.hpp"
#include "quernlight/platform/file_manager.hpp"

namespace quernlight::host {
namespace {

std::string counted(std::ptrdiff_t count, const char* one, const char* several) {
    return count == 0 ? "" : std::to_string(count) + (count == 1 ? one : several);
}

std::string inWords(const GitCommandResult& changes, const GitCommandResult& commits) {
    if (!changes.succeeded() || !commits.succeeded()) {
        return "what cannot be told: git failed";
    }
    const auto lines = std::ranges::count(changes.output, '\n') + (changes.output.empty() ? 0 : 1);
    const std::string files = counted(lines, " changed file", " changed files");
    const bool arePushed = commits.output.empty() || commits.output == "0";
    const std::string unpushed =
        arePushed ? ""
                  : commits.output + (commits.output == "1" ? " commit" : " commits") + " that no remote has";
    return files + (files.empty() || unpushed.empty() ? "" : " and ") + unpushed;
}

}  // namespace

Task<std::string> preservingOutlook(WorktreeToPreserve worktree, GitRunner ask) {
    const std::string path = worktree.worktreePath;
    if (!defaultFileManager().exists(path)) {
        co_return "";
    }
    const WorktreePointers pointers = pointersOf(worktree.repoPath, path);
    if (pointers.state != PointerState::intact) {
        co_return "what cannot be told: " + describe(pointers);
    }
    const GitRunner git = co_await guarded(std::move(ask), worktree.repoPath);
    std::vector<std::string> status{
        "--no-optional-locks",    "-C",     path,          "-c",
        "core.quotePath=true",    "status", "--porcelain", "--untracked-files=all",
        "--ignore-submodules=all"};
    std::vector<std::string> count{"-C", path, "rev-list", "--count", "HEAD", "--not", "--remotes"};
    const GitCommandResult changes = co_await git(std::move(status));
    const GitCommandResult commits = co_await git(std::move(count));
    co_return inWords(changes, commits);
}

}  // namespace quernlight::host
