#include "host/worktree/work_preserver.hpp"

#include <algorithm>
#include <filesystem>

#include "host/worktree/guarded_git.hpp"
#include "host/worktree/worktree_pointers.hpp"
#include "quernlight/platform/file_manager.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr int mostPreserved = 1000;  // references of one branch

/// What stopped the saving.
struct Stopped {
    std::string reason;
};

/// A path as git prints it with core.quotePath, see git-config(1): quoted as in C when it holds anything
/// unusual.
std::string unquoted(std::string_view printed) {
    if (!printed.starts_with('"')) {
        return std::string(printed);
    }
    constexpr std::string_view letters = "abtnvfr";
    constexpr std::string_view meanings = "\a\b\t\n\v\f\r";
    std::string path;
    for (std::size_t next = 1; next + 1 < printed.size(); ++next) {
        if (printed[next] != '\\') {
            path += printed[next];
            continue;
        }
        const char escaped = printed[++next];
        const std::size_t letter = letters.find(escaped);
        if (escaped >= '0' && escaped <= '7') {
            path += static_cast<char>(std::stoi(std::string(printed.substr(next, 3)), nullptr, 8));
            next += 2;
        } else {
            path += letter == std::string_view::npos ? escaped : meanings[letter];
        }
    }
    return path;
}

/// One saving; its steps throw Stopped.
class Preserving {
  public:
    Preserving(WorktreeToPreserve worktree, GitRunner ask)
        : worktree_(std::move(worktree)), ask_(std::move(ask)) {}

    Task<PreserveResult> work() {
        ask_ = co_await guarded(ask_, worktree_.repoPath);
        co_await requireWorktree();
        co_await refuseInnerRepositories();  // before a git that would run in them, by their settings
        const std::string head = co_await git("rev-parse", "--verify", "HEAD^{commit}");
        co_await liftFlags();
        co_await git("add", "--all", "--sparse");
        co_await refuseInnerRepositories();
        const std::string tree = co_await git("write-tree");
        const std::string headTree = co_await git("rev-parse", "--verify", "HEAD^{tree}");
        std::string commit = head;
        if (tree != headTree) {
            commit = co_await commitTree(tree, head);
        } else if (co_await isPushed(head)) {
            co_return NothingToPreserve{};
        }
        const std::string content = tree == headTree ? "" : tree + "\n" + head;
        co_return co_await store(std::move(commit), content);
    }

  private:
    template <class... Words>
    Task<std::string> git(Words... words) {
        return gitIn(worktree_.worktreePath, std::vector<std::string>{std::move(words)...});
    }

    Task<std::string> gitIn(std::string directory, std::vector<std::string> arguments) {
        const std::string command = arguments.front();
        const GitCommandResult result = co_await tryGitIn(std::move(directory), std::move(arguments));
        if (!result.succeeded()) {
            throw Stopped{"git " + command + " failed: " + result.output};
        }
        co_return result.output;
    }

    /// Paths are printed quoted, because output that is not UTF-8 counts as empty.
    template <class... Words>
    Task<std::string> listing(Words... words) {
        return git("-c", "core.quotePath=true", std::move(words)...);
    }

    Task<GitCommandResult> tryGitIn(std::string directory, std::vector<std::string> arguments) {
        if (directory == worktree_.worktreePath) {
            requireOwnPointers();
        }
        std::vector<std::string> complete{"-C", std::move(directory)};
        complete.insert(complete.end(), arguments.begin(), arguments.end());
        return ask_(std::move(complete));
    }

    void requireOwnPointers() const {
        const WorktreePointers pointers = pointersOf(worktree_.repoPath, worktree_.worktreePath);
        if (pointers.state == PointerState::altered || pointers.leadsNowhere) {
            throw Stopped{describe(pointers) + "; look at it, and remove the worktree by hand"};
        }
        if (pointers.state != PointerState::intact) {
            throw Stopped{"it is no worktree of " + worktree_.repoPath};
        }
    }

    /// What is saved in a repository of its own would go with the directory.
    Task<void> requireWorktree() {
        const std::vector<std::string> commonDirectory{"rev-parse", "--path-format=absolute",
                                                       "--git-common-dir"};
        const std::string inWorktree = co_await gitIn(worktree_.worktreePath, commonDirectory);
        const std::string inRepository = co_await gitIn(worktree_.repoPath, commonDirectory);
        const std::string top = co_await git("rev-parse", "--show-toplevel");
        std::error_code ignored;
        if (inWorktree != inRepository ||
            !std::filesystem::equivalent(top, worktree_.worktreePath, ignored)) {
            throw Stopped{"it is no worktree of " + worktree_.repoPath};
        }
    }

    /// What git was told to overlook is work like any other, unless it is a file that a sparse checkout left
    /// out. Of the two options git would heed only the first.
    Task<void> liftFlags() {
        constexpr std::size_t mostPaths = 200;  // of one command
        const std::string entries = co_await listing("ls-files", "-v");
        const std::vector<std::string> sparse{"config", "--bool", "core.sparseCheckout"};
        const GitCommandResult isSparse = co_await tryGitIn(worktree_.worktreePath, sparse);
        const std::vector<std::string> paths = overlookedPaths(entries, isSparse.output == "true");
        for (std::size_t first = 0; first < paths.size(); first += mostPaths) {
            const std::size_t last = std::min(first + mostPaths, paths.size());
            for (const char* flag : {"--no-assume-unchanged", "--no-skip-worktree"}) {
                std::vector<std::string> arguments{"update-index", flag, "--"};
                arguments.insert(arguments.end(), paths.begin() + static_cast<std::ptrdiff_t>(first),
                                 paths.begin() + static_cast<std::ptrdiff_t>(last));
                co_await gitIn(worktree_.worktreePath, std::move(arguments));
            }
        }
    }

    std::vector<std::string> overlookedPaths(const std::string& entries, bool isSparse) const {
        std::vector<std::string> paths;
        for (const std::string_view line : linesOf(entries)) {
            // "TAG PATH", see git-ls-files(1): a small letter is assumed unchanged, "S" is skipped, "s" both
            const char tag = line.empty() ? 'H' : line.front();
            const bool isSkipped = tag == 'S' || tag == 's';
            const std::string path = unquoted(line.substr(std::min<std::size_t>(2, line.size())));
            const bool isLeftOut =
                isSkipped && isSparse && !defaultFileManager().exists(worktree_.worktreePath + "/" + path);
            if ((isSkipped || (tag >= 'a' && tag <= 'z')) && !isLeftOut) {
                paths.push_back(path);
            }
        }
        return paths;
    }

    /// Of a repository inside the worktree git would keep a commit's name only, and what lies in a
    /// submodule's directory is in no commit of this repository at all.
    Task<void> refuseInnerRepositories() {
        const std::string entries = co_await listing("ls-files", "--stage");
        for (const std::string_view line : linesOf(entries)) {
            // "MODE ID STAGE\tPATH", see git-ls-files(1)
            const std::string path = unquoted(line.substr(std::min(line.find('\t'), line.size() - 1) + 1));
            if (line.starts_with("160000 ") && isRepository(path)) {
                throw Stopped{"it holds a git repository of its own at " + validUtf8(path) +
                              "; move that elsewhere first"};
            }
        }
    }

    /// A submodule that was never checked out is an empty directory.
    bool isRepository(const std::string& path) const {
        return defaultFileManager().exists(worktree_.worktreePath + "/" + path + "/.git");
    }

    Task<std::string> commitTree(std::string tree, std::string parent) {
        return git("-c", "user.name=Quernlight Dispatch", "-c", "user.email=quernlight-dispatch@localhost",
                   "commit-tree", std::move(tree), "-p", std::move(parent), "-m",
                   "Work in progress on " + worktree_.branch);
    }

    Task<std::string> contentOf(std::string reference) {
        std::vector<std::string> lookUp{"rev-parse", reference + "^{tree}", reference + "^"};
        const GitCommandResult result = co_await tryGitIn(worktree_.worktreePath, std::move(lookUp));
        co_return result.output;
    }

    Task<bool> isPushed(std::string commit) {
        const std::string unpushed =
            co_await git("rev-list", "--max-count=1", std::move(commit), "--not", "--remotes");
        co_return unpushed.empty();
    }

    /// A reference is made, never moved, so that earlier saved work stays. Of a commit made here `content` is
    /// its tree and its parent (else empty): the same work saved again differs only in its date.
    Task<PreserveResult> store(std::string commit, std::string content) {
        for (int number = 1; number <= mostPreserved; ++number) {
            const std::string reference = "refs/quernlight/preserved/" + worktree_.branch +
                                          (number == 1 ? "" : "-" + std::to_string(number));
            std::vector<std::string> lookUp{"rev-parse", "--verify", "--quiet", reference};
            const GitCommandResult present = co_await tryGitIn(worktree_.repoPath, std::move(lookUp));
            const std::string kept = co_await contentOf(reference);
            const bool isSame = present.output == commit || (!content.empty() && kept == content);
            if (present.succeeded() && isSame) {
                co_return WorkPreserved{.reference = reference, .commit = present.output, .isNew = false};
            }
            if (!present.succeeded()) {
                const std::string mustNotExist(commit.size(), '0');
                co_await git("update-ref", reference, commit, mustNotExist);
                co_return WorkPreserved{.reference = reference, .commit = commit};
            }
        }
        throw Stopped{"there are too many references like refs/quernlight/preserved/" + worktree_.branch};
    }

    const WorktreeToPreserve worktree_;
    GitRunner ask_;
};

}  // namespace

Task<PreserveResult> preserveWork(WorktreeToPreserve worktree, GitRunner ask) {
    if (!defaultFileManager().exists(worktree.worktreePath)) {
        co_return NothingToPreserve{};
    }
    const std::string path = worktree.worktreePath;
    Preserving preserving(std::move(worktree), std::move(ask));
    try {
        co_return co_await preserving.work();
    } catch (const Stopped& stopped) {
        co_return PreservingFailed{"The work in " + path +
                                   " cannot be saved, so it stays: " + stopped.reason + "."};
    }
}

}  // namespace quernlight::host
