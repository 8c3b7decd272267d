#include "host/worktree/worktree_place.hpp"

#include <algorithm>

#include "host/worktree/worktree_comparison.hpp"
#include "host/worktree/worktree_occupant.hpp"
#include "host/worktree/worktree_pointers.hpp"
#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/platform/background_executor.hpp"
#include "quernlight/platform/file_manager.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

/// As `git worktree list --porcelain -z` tells it.
struct Registration {
    std::string path{};
    std::string head{};
    std::string branch{};
    bool isLocked = false;
    std::string lock{};  ///< why it is, if somebody said
};

constexpr std::string_view initializingLock = "initializing";  // builtin/worktree.c, while it is being made

bool isCommit(std::string_view head) {
    return head.find_first_not_of('0') != std::string_view::npos;
}

void take(std::string_view attribute, Registration& registration) {
    const auto read = [&](std::string_view label, std::string& value) {
        if (attribute.starts_with(label)) {
            value = attribute.substr(label.size());
        }
    };
    read("worktree ", registration.path);
    read("HEAD ", registration.head);
    read("branch ", registration.branch);
    read("locked ", registration.lock);
    registration.isLocked =
        registration.isLocked || attribute == "locked" || attribute.starts_with("locked ");
}

std::vector<Registration> registrationsIn(std::string_view listing) {
    std::vector<Registration> registrations;
    while (!listing.empty()) {
        const auto end = std::min(listing.find('\0'), listing.size());
        const std::string_view attribute = listing.substr(0, end);
        listing.remove_prefix(std::min(end + 1, listing.size()));
        if (attribute.starts_with("worktree ")) {
            registrations.emplace_back();
        }
        if (!registrations.empty()) {
            take(attribute, registrations.back());
        }
    }
    return registrations;
}

}  // namespace

Task<GitCommandResult> WorktreePlace::git(std::string directory, std::vector<std::string> arguments) {
    std::vector<std::string> whole{"-C", std::move(directory)};
    whole.insert(whole.end(), arguments.begin(), arguments.end());
    return ask_(std::move(whole));
}

Task<std::string> WorktreePlace::answer(std::string directory, std::vector<std::string> arguments) {
    const GitCommandResult result = co_await git(std::move(directory), std::move(arguments));
    if (!result.succeeded()) {
        throw PlaceUnknown(result.outputOr("Git cannot tell what is at " + names_.path + "."));
    }
    co_return result.output;
}

Task<WorktreeFacts> WorktreePlace::facts(WorktreeUse use) {
    const FileManager& files = defaultFileManager();
    if (const auto obstacle = files.obstacle(std::filesystem::path(names_.path) / ".git")) {
        throw PlaceUnknown("It cannot be told what is at " + names_.path + ": " + *obstacle +
                           ". Mend its permissions, then retry the bug.");
    }
    WorktreeFacts facts{.isThere = files.exists(names_.path),
                        .isDirectory = files.isDirectory(names_.path),
                        .hasGitEntry = files.exists(std::filesystem::path(names_.path) / ".git"),
                        .use = use};
    co_await findRegistration(facts);
    if (facts.isThere || facts.isRegistered) {
        co_await findTip();
        facts.branchIsUnused = co_await branchIsUnused();
    }
    if (facts.hasGitEntry && mayLookInside(facts)) {
        co_await lookInside(facts);
    }
    isThere_ = facts.isThere;
    gitMayHaveBeenWriting_ = facts.isInitializing || !facts.hasIndex;
    co_return facts;
}

/// Of a repository that is none of ours, and was there before any agent, git tells only that it is one. Where
/// git, or an agent, was at work before and something leads elsewhere now, it is asked nothing.
bool WorktreePlace::mayLookInside(WorktreeFacts& facts) const {
    const WorktreePointers pointers = pointersOf(names_.repository, names_.path);
    const bool isForeign = pointers.state == PointerState::foreign;
    const bool isOther = isForeign && !facts.isRegistered && facts.use == WorktreeUse::first;
    const bool isDistrusted = pointers.state == PointerState::altered || (isForeign && !isOther);
    facts.distrust = isDistrusted ? describe(pointers) : "";
    return pointers.state == PointerState::intact || isOther;
}

Task<void> WorktreePlace::findRegistration(WorktreeFacts& facts) {
    std::vector<std::string> list{"worktree", "list", "--porcelain", "-z"};
    const std::string listing = co_await answer(names_.repository, std::move(list));
    for (const Registration& registration : registrationsIn(listing)) {
        if (registration.path == names_.path) {
            isRegistered_ = facts.isRegistered = true;
            facts.isInitializing = registration.lock == initializingLock;
            facts.isLocked = registration.isLocked && !facts.isInitializing;
            head_ = isCommit(registration.head) ? registration.head : "";
        } else if (registration.branch == "refs/heads/" + names_.branch) {
            isBranchElsewhere_ = true;
        }
    }
}

Task<void> WorktreePlace::lookInside(WorktreeFacts& facts) {
    std::vector<std::string> askIndex{"rev-parse", "--path-format=absolute", "--git-path", "index"};
    const GitCommandResult index = co_await git(names_.path, std::move(askIndex));
    facts.isWorkingTree = index.succeeded();
    facts.hasIndex = index.succeeded() && defaultFileManager().exists(index.output);
    if (facts.hasIndex && facts.isRegistered && !facts.isInitializing && facts.use == WorktreeUse::first) {
        std::vector<std::string> list{
            "--no-optional-locks", "-c", "core.quotePath=true", "ls-files", "-t", "--deleted"};
        const std::string deleted = co_await answer(names_.path, std::move(list));
        const auto lines = linesOf(deleted);
        facts.lacksFiles = std::any_of(lines.begin(), lines.end(),
                                       [](std::string_view line) { return line.starts_with("R "); });
    }
}

Task<void> WorktreePlace::findTip() {
    std::vector<std::string> resolve{"rev-parse", "--verify", "--quiet",
                                     "refs/heads/" + names_.branch + "^{commit}"};
    const GitCommandResult tip = co_await git(names_.repository, std::move(resolve));
    tip_ = tip.succeeded() ? tip.output : "";
}

Task<bool> WorktreePlace::isBranchUsed() {
    co_await findTip();
    const bool isUnused = co_await branchIsUnused();
    co_return !tip_.empty() && !isUnused;
}

/// Its log says that it was created from the base branch, as a preparation does it, and nothing else.
Task<bool> WorktreePlace::branchIsUnused() {
    if (tip_.empty() || isBranchElsewhere_) {
        co_return false;
    }
    std::vector<std::string> log{"log", "--walk-reflogs", "--format=%gs", "refs/heads/" + names_.branch,
                                 "--"};
    const GitCommandResult history = co_await git(names_.repository, std::move(log));
    constexpr std::string_view created = "branch: Created from ";
    const std::string_view only = history.output;
    const std::string& base = names_.baseBranch;
    const bool isFromBase = only == std::string(created) + base ||
                            (only.starts_with(std::string(created) + "refs/remotes/") &&
                             only.ends_with("/" + base) && only.find('\n') == std::string_view::npos);
    co_return history.succeeded() && isFromBase;
}

Task<std::vector<std::string>> WorktreePlace::changes() {
    if (!head_.empty() && head_ != tip_) {
        std::vector<std::string> ask{"rev-list", "--max-count=1", head_, "--not", "--branches", "--remotes"};
        const std::string unheld = co_await answer(names_.repository, std::move(ask));
        if (!unheld.empty()) {
            std::vector<std::string> commit{"commit " + unheld};
            co_return commit;
        }
    }
    if (!isThere_) {
        co_return std::vector<std::string>{};
    }
    co_return co_await changedFilesIn(names_.path);
}

Task<std::vector<std::string>> WorktreePlace::changedFilesIn(std::string directory) {
    std::vector<std::string> askCommon{"rev-parse", "--path-format=absolute", "--git-common-dir"};
    std::string common = co_await answer(names_.repository, std::move(askCommon));
    WorktreeComparison comparison(std::move(directory), std::move(common), head_.empty() ? tip_ : head_,
                                  run_);
    co_return co_await comparison.differences(gitMayHaveBeenWriting_);
}

Task<std::vector<std::string>> WorktreePlace::setAside() {
    if (!isThere_) {
        co_return std::vector<std::string>{};
    }
    const std::string aside = names_.path + ".half-made-" + lowerCaseText(randomUuid()).substr(0, 8);
    std::filesystem::rename(names_.path, aside);
    aside_ = aside;
    std::vector<std::string> changes;
    try {
        changes = co_await changedFilesIn(aside);
    } catch (...) {
        putBack();
        throw;
    }
    if (const auto occupant = processIn(aside, processTable())) {
        changes.push_back("process " + std::to_string(occupant->pid));
    }
    if (!changes.empty()) {
        putBack();
    }
    co_return changes;
}

void WorktreePlace::putBack() {
    std::error_code error;
    std::filesystem::rename(aside_, names_.path, error);
    if (error) {
        throw PlaceUnknown("What was at " + names_.path + " is at " + aside_ +
                           " now, since something else has come to its place (" + error.message() +
                           "). Keep what is needed of both, remove them, then retry the bug.");
    }
    aside_.clear();
}

Task<void> WorktreePlace::remove(bool branchToo) {
    if (!aside_.empty()) {
        BackgroundExecutor thread;  // a working copy can hold very many files
        auto deletion = [path = aside_] { defaultFileManager().removeAll(path); };
        co_await thread.run(std::move(deletion));
    }
    if (isRegistered_) {
        std::vector<std::string> forget{"worktree", "remove", "--force", "--force", names_.path};
        co_await answer(names_.repository, std::move(forget));
    }
    if (branchToo) {
        std::vector<std::string> deleteBranch{"update-ref", "-d", "refs/heads/" + names_.branch, tip_};
        co_await answer(names_.repository, std::move(deleteBranch));
    }
}

}  // namespace quernlight::host
