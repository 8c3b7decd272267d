#include "host/worktree/work_preserver.hpp"

#include <algorithm>
#include <iterator>

#include "host/worktree/guarded_git.hpp"

namespace quernlight::host {
namespace {

using Words = std::vector<std::string>;

constexpr int mostPreserved = 1000;       // references of one branch
constexpr std::size_t mostParents = 100;  // of one commit

/// What stopped the saving.
struct Stopped {
    std::string reason;
};

/// One saving; its steps throw Stopped.
class Preserving {
  public:
    Preserving(WorktreeToPreserve worktree, UnsavedWork work, GitRunner ask)
        : worktree_(std::move(worktree)), work_(std::move(work)), ask_(std::move(ask)) {}

    Task<PreserveResult> run() {
        ask_ = co_await guarded(ask_, worktree_.repoPath);
        WorkPreserved preserved;
        if (!work_.files.trees.empty() || work_.unpushed > 0) {
            KeptReference kept = co_await keepFiles();
            preserved.references.push_back(std::move(kept));
        }
        if (!work_.leftBehind.empty()) {
            KeptReference kept = co_await keepLeftBehind();
            preserved.references.push_back(std::move(kept));
        }
        if (preserved.references.empty()) {
            co_return NothingToPreserve{};
        }
        co_return preserved;
    }

  private:
    Task<GitCommandResult> tryGit(Words arguments) {
        Words complete{"-C", worktree_.repoPath,
                       "-c", "user.name=Quernlight Dispatch",
                       "-c", "user.email=quernlight-dispatch@localhost"};
        std::ranges::move(arguments, std::back_inserter(complete));
        return ask_(std::move(complete));
    }

    Task<std::string> git(Words arguments) {
        const std::string command = arguments.front();
        const GitCommandResult result = co_await tryGit(std::move(arguments));
        if (!result.succeeded()) {
            throw Stopped{"git " + command + " failed: " + result.output};
        }
        co_return result.output;
    }

    Task<std::string> commitTree(std::string tree, const Words& parents, std::string message) {
        Words commit{"commit-tree", std::move(tree)};
        for (const std::string& parent : parents) {
            commit.insert(commit.end(), {"-p", parent});
        }
        commit.insert(commit.end(), {"-m", std::move(message)});
        return git(std::move(commit));
    }

    /// The trees as commits upon each other, or the worktree's own commit.
    Task<KeptReference> keepFiles() {
        for (int number = 1; number <= mostPreserved; ++number) {
            KeptReference kept{.reference = referenceNumber(number), .what = "Work that no remote has"};
            kept.commit = co_await commitAt(kept.reference);
            if (kept.commit.empty()) {
                kept.commit = co_await commitOfFiles();
                co_await create(kept);
                co_return kept;
            }
            if (co_await hasSameFiles(kept.reference)) {
                kept.isNew = false;
                co_return kept;
            }
        }
        throw tooMany();
    }

    Task<KeptReference> keepLeftBehind() {
        for (int number = 1; number <= mostPreserved; ++number) {
            KeptReference kept{.reference = referenceNumber(number),
                               .what = "Work that was left behind in commits no branch has"};
            kept.commit = co_await commitAt(kept.reference);
            if (kept.commit.empty()) {
                kept.commit = co_await commitOfLeftBehind();
                co_await create(kept);
                co_return kept;
            }
            if (co_await hasLeftBehind(kept.reference)) {
                kept.isNew = false;
                co_return kept;
            }
        }
        throw tooMany();
    }

    std::string referenceNumber(int number) const {
        return "refs/quernlight/preserved/" + worktree_.branch +
               (number == 1 ? "" : "-" + std::to_string(number));
    }

    Stopped tooMany() const { return {"there are too many references like " + referenceNumber(1)}; }

    /// Empty where there is no such reference.
    Task<std::string> commitAt(std::string reference) {
        Words lookUp{"rev-parse", "--verify", "--quiet", std::move(reference)};
        GitCommandResult present = co_await tryGit(std::move(lookUp));
        co_return present.succeeded() ? std::move(present.output) : "";
    }

    /// It is made, never moved, so that earlier saved work stays.
    Task<void> create(const KeptReference& kept) {
        const std::string mustNotExist(kept.commit.size(), '0');
        Words update{"update-ref", kept.reference, kept.commit, mustNotExist};
        co_await git(std::move(update));
    }

    Task<std::string> commitOfFiles() {
        std::string commit = work_.head;
        for (const KeptTree& kept : work_.files.trees) {
            Words parents{commit};
            commit = co_await commitTree(kept.tree, parents, kept.message);
        }
        co_return commit;
    }

    /// The same work saved again differs only in its date.
    Task<bool> hasSameFiles(std::string reference) {
        Words lookUp{"rev-parse"};
        std::string expected;
        const std::size_t count = work_.files.trees.size();
        for (std::size_t back = 0; back < count; ++back) {
            lookUp.push_back(reference + "~" + std::to_string(back) + "^{tree}");
            expected += work_.files.trees[count - back - 1].tree + "\n";
        }
        lookUp.push_back(reference + "~" + std::to_string(count));
        const GitCommandResult found = co_await tryGit(std::move(lookUp));
        co_return found.succeeded() && found.output == expected + work_.head;
    }

    /// One commit stays as it is; of several, another one is made that has them for parents, a hundred at
    /// most, and above these yet another.
    Task<std::string> commitOfLeftBehind() {
        if (work_.leftBehind.size() == 1) {
            co_return work_.leftBehind.front();
        }
        Words lookUp{"rev-parse", "--verify", work_.leftBehind.back() + "^{tree}"};
        const std::string tree = co_await git(std::move(lookUp));
        Words parents;
        for (const std::string& tip : work_.leftBehind) {
            parents.push_back(tip);
            if (parents.size() == mostParents) {
                std::string commit = co_await commitTree(tree, parents, leftBehindMessage());
                parents = {std::move(commit)};
            }
        }
        if (parents.size() == 1) {
            co_return parents.front();
        }
        co_return co_await commitTree(tree, parents, leftBehindMessage());
    }

    std::string leftBehindMessage() const { return "Commits left behind on " + worktree_.branch; }

    Task<bool> hasLeftBehind(std::string reference) {
        for (std::size_t first = 0; first < work_.leftBehind.size(); first += mostParents) {
            const std::size_t last = std::min(first + mostParents, work_.leftBehind.size());
            Words missing{"rev-list", "--max-count=1"};
            missing.insert(missing.end(), work_.leftBehind.begin() + static_cast<std::ptrdiff_t>(first),
                           work_.leftBehind.begin() + static_cast<std::ptrdiff_t>(last));
            missing.insert(missing.end(), {"--not", reference});
            const std::string found = co_await git(std::move(missing));
            if (!found.empty()) {
                co_return false;
            }
        }
        co_return true;
    }

    const WorktreeToPreserve worktree_;
    const UnsavedWork work_;
    GitRunner ask_;
};

}  // namespace

Task<PreserveResult> keepWork(WorktreeToPreserve worktree, UnsavedWork work, GitRunner ask) {
    const std::string path = worktree.worktreePath;
    Preserving preserving(std::move(worktree), std::move(work), std::move(ask));
    try {
        co_return co_await preserving.run();
    } catch (const Stopped& stopped) {
        co_return PreservingFailed{"The work in " + path +
                                   " cannot be saved, so it stays: " + stopped.reason + "."};
    }
}

Task<PreserveResult> preserveWork(WorktreeToPreserve worktree, GitRunner ask) {
    UnsavedWorkLook look = co_await findUnsavedWork(worktree, ask);
    if (auto* failed = std::get_if<PreservingFailed>(&look)) {
        co_return std::move(*failed);
    }
    auto work = std::get<UnsavedWork>(std::move(look));
    co_return co_await keepWork(std::move(worktree), std::move(work), std::move(ask));
}

}  // namespace quernlight::host
