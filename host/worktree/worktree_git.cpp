#include "host/worktree/worktree_git.hpp"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <set>

#include "host/process/file_content.hpp"
#include "host/worktree/guarded_git.hpp"
#include "quernlight/platform/file_manager.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t mostPaths = 200;                          // of one command
constexpr std::size_t longestPointer = std::size_t{64} << 10U;  // bytes

void append(WorktreeGit::Words& words, WorktreeGit::Words more) {
    std::ranges::move(more, std::back_inserter(words));
}

void refuseInnerRepositories(const std::string& worktree, const std::vector<IndexEntry>& entries) {
    std::set<std::string> seen;
    for (const IndexEntry& entry : entries) {
        fs::path directory = entry.isRepository() ? fs::path(entry.path) : fs::path(entry.path).parent_path();
        for (; !directory.empty() && seen.insert(directory.string()).second;
             directory = directory.parent_path()) {
            if (defaultFileManager().exists(fs::path(worktree) / directory / ".git")) {
                throw WorktreeStays{"it holds a git repository of its own at " +
                                    validUtf8(directory.string()) + "; move that elsewhere first"};
            }
        }
    }
}

}  // namespace

std::vector<std::string> partOf(const std::vector<std::string>& all, std::size_t first, std::size_t most) {
    const std::size_t last = std::min(first + most, all.size());
    return {all.begin() + static_cast<std::ptrdiff_t>(first),
            all.begin() + static_cast<std::ptrdiff_t>(last)};
}

Task<WorktreePointers> WorktreeGit::open() {
    ask_ = co_await guarded(ask_, worktree_.repoPath);
    co_await requireWorktree();
    WorktreePointers pointers = intactPointers();
    snapshot_.emplace(pointers);
    co_return pointers;
}

Task<WorktreePointers> WorktreeGit::openMissing() {
    WorktreePointers pointers = registered();
    if (!pointers.own.empty()) {
        ask_ = co_await guarded(ask_, worktree_.repoPath);
        snapshot_.emplace(pointers);
    }
    co_return pointers;
}

/// What git keeps for a worktree at this place; nothing runs where that leads to.
WorktreePointers WorktreeGit::registered() const {
    WorktreePointers pointers = pointersOf(worktree_.repoPath, worktree_.worktreePath);
    const std::string place = (fs::weakly_canonical(worktree_.worktreePath) / ".git").string();
    pointers.place = worktree_.repoPath;
    pointers.own.clear();
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(pointers.common / "worktrees", none)) {
        const auto pointer = fileContent(entry.path() / "gitdir", longestPointer, LastLink::refused);
        if (pointer && trimmed(*pointer) == place) {
            pointers.own = entry.path();
        }
    }
    return pointers;
}

Task<std::string> WorktreeGit::run(Words options, Words arguments) {
    const std::string command = arguments.front();
    append(options, {"-c", "core.quotePath=true"});
    append(options, std::move(arguments));
    GitCommandResult result = co_await ask_(std::move(options));
    if (!result.succeeded()) {
        throw WorktreeStays{"git " + command + " failed: " + result.output};
    }
    co_return std::move(result.output);
}

Task<std::string> WorktreeGit::inWorktree(Words arguments) {
    intactPointers();
    Words options{"-C", worktree_.worktreePath};
    return run(std::move(options), std::move(arguments));
}

Task<std::string> WorktreeGit::onSnapshot(Words arguments) {
    return run(snapshot_->options(), std::move(arguments));
}

Task<std::string> WorktreeGit::inRepository(Words arguments) {
    Words options{"-C", worktree_.repoPath};
    return run(std::move(options), std::move(arguments));
}

Task<void> WorktreeGit::onSnapshotInParts(Words command, Words arguments) {
    for (std::size_t first = 0; first < arguments.size(); first += mostPaths) {
        Words whole = command;
        append(whole, partOf(arguments, first, mostPaths));
        co_await onSnapshot(std::move(whole));
    }
}

WorktreePointers WorktreeGit::intactPointers() const {
    WorktreePointers pointers = pointersOf(worktree_.repoPath, worktree_.worktreePath);
    if (pointers.state == PointerState::altered || pointers.leadsNowhere) {
        throw WorktreeStays{describe(pointers) + "; look at it, and remove the worktree by hand"};
    }
    if (pointers.state != PointerState::intact) {
        throw WorktreeStays{"it is no worktree of " + worktree_.repoPath};
    }
    return pointers;
}

/// What is saved in a repository of its own would go with the directory.
Task<void> WorktreeGit::requireWorktree() {
    const Words commonDirectory{"rev-parse", "--path-format=absolute", "--git-common-dir"};
    const std::string common = co_await inWorktree(commonDirectory);
    const std::string known = co_await inRepository(commonDirectory);
    Words topLevel{"rev-parse", "--show-toplevel"};
    const std::string top = co_await inWorktree(std::move(topLevel));
    std::error_code ignored;
    if (common != known || !fs::equivalent(top, worktree_.worktreePath, ignored)) {
        throw WorktreeStays{"it is no worktree of " + worktree_.repoPath};
    }
}

Task<std::vector<IndexEntry>> WorktreeGit::index() {
    Words list{"ls-files", "--stage"};
    const std::string printed = co_await onSnapshot(std::move(list));
    std::vector<IndexEntry> entries = indexEntries(printed);
    refuseInnerRepositories(worktree_.worktreePath, entries);
    co_return entries;
}

Task<bool> WorktreeGit::isSparseCheckout() {
    intactPointers();
    Words ask{"-C", worktree_.worktreePath, "config", "--bool", "core.sparseCheckout"};
    const GitCommandResult answer = co_await ask_(std::move(ask));
    co_return answer.output == "true";
}

}  // namespace quernlight::host
