#include "host/live/worktree_changes.hpp"

#include <charconv>

#include "host/process/user_error.hpp"
#include "host/worktree/git_marks.hpp"
#include "host/worktree/git_time_limit.hpp"
#include "host/worktree/guarded_git.hpp"
#include "host/worktree/worktree_pointers.hpp"
#include "quernlight/git/repository_git.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t mostChanged = 20'000;  // lines, whose text is still asked for
constexpr std::size_t mostLines = 2'000;     // that are shown

/// The lines of "ADDED\tREMOVED\tNAME"; a file that is no text counts nothing.
std::size_t changedLines(const std::string& counts) {
    std::size_t sum = 0;
    for (const std::string_view line : linesOf(counts)) {
        std::size_t at = 0;
        for (int field = 0; field < 2; ++field) {
            std::size_t number = 0;
            std::from_chars(line.data() + at, line.data() + line.size(), number);
            sum += number;
            at = std::min(line.find('\t', at), line.size() - 1) + 1;
        }
    }
    return sum;
}

void append(std::vector<std::string>& lines, const std::string& text) {
    for (const std::string_view line : linesOf(text)) {
        if (lines.size() == mostLines) {
            lines.emplace_back("… and more.");
            return;
        }
        if (lines.size() > mostLines) {
            return;
        }
        lines.emplace_back(line);
    }
}

/// Asks git about one place.
class Changes {
  public:
    Changes(GitRunner git, ChangedWorktree place) : git_(std::move(git)), place_(std::move(place)) {}

    Task<std::vector<std::string>> lines() {
        base_ = co_await base();
        std::vector<std::string> lines;
        append(lines, co_await diff("--stat=100"));
        co_await addNew(lines);
        if (lines.empty()) {
            lines.emplace_back("Nothing has changed.");
            co_return lines;
        }
        const std::string counts = co_await diff("--numstat");
        const std::size_t changed = changedLines(counts);
        if (changed > mostChanged) {
            lines.push_back(std::to_string(changed) + " lines have changed, too many to be shown here.");
            co_return lines;
        }
        lines.emplace_back();
        append(lines, co_await diff("--patch"));
        co_return lines;
    }

  private:
    Task<std::string> ask(std::vector<std::string> arguments) {
        std::vector<std::string> whole{"--no-optional-locks", "-c", "core.quotePath=true", "-C",
                                       place_.worktree};
        whole.insert(whole.end(), arguments.begin(), arguments.end());
        const GitCommandResult result = co_await git_(std::move(whole));
        if (!result.succeeded()) {
            throw UserError(result.outputOr("Git cannot tell what has changed in " + place_.worktree + "."));
        }
        co_return result.output;
    }

    /// Nothing is run that its attributes name, and nothing in its submodules.
    Task<std::string> diff(const char* form) {
        std::vector<std::string> arguments{"diff", "--no-color", "--no-ext-diff", "--no-textconv",
                                           "--ignore-submodules=all"};
        arguments.emplace_back(form);
        arguments.push_back(base_);
        co_return co_await ask(std::move(arguments));
    }

    Task<void> addNew(std::vector<std::string>& lines) {
        std::vector<std::string> arguments{"ls-files", "--others", "--exclude-standard", "--directory"};
        const std::string added = co_await ask(std::move(arguments));
        for (const std::string_view name : linesOf(added)) {
            append(lines, " " + std::string(name) + " (new)");
        }
    }

    Task<std::string> base() {
        const RepositoryGit repository(git_, place_.repository);
        const std::string remote = co_await repository.preferredRemote();
        std::vector<std::string> arguments{"merge-base", "HEAD"};
        arguments.push_back(remote.empty() ? place_.baseBranch
                                           : "refs/remotes/" + remote + "/" + place_.baseBranch);
        co_return co_await ask(std::move(arguments));
    }

    const GitRunner git_;
    const ChangedWorktree place_;
    std::string base_;
};

}  // namespace

Task<std::vector<std::string>> changesIn(std::filesystem::path home, ChangedWorktree place) {
    if (!std::filesystem::is_directory(place.worktree)) {
        throw UserError("It has no worktree now: " + place.worktree);
    }
    const WorktreePointers pointers = pointersOf(place.repository, place.worktree);
    if (pointers.state != PointerState::intact) {
        throw UserError(describe(pointers));
    }
    GitRunner limited = limitedGit(gitMarkOf(home), GitOutput::answer);
    std::string worktree = place.worktree;
    GitRunner git = co_await guarded(std::move(limited), std::move(worktree));
    Changes changes(std::move(git), std::move(place));
    co_return co_await changes.lines();
}

}  // namespace quernlight::host
