#include "host/worktree/preserved_work.hpp"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "host/process/user_error.hpp"
#include "host/worktree/guarded_git.hpp"

namespace quernlight::host {
namespace {

constexpr std::string_view prefix = "refs/quernlight/preserved/";
constexpr std::size_t idLength = 8;
constexpr const char* mostCommits = "--max-count=50";
constexpr std::size_t mostFiles = 200;
constexpr std::string_view keepersAddress = "quernlight-dispatch@localhost";

using Words = std::vector<std::string>;

/// Splits at each `separator`; the last part may hold further ones.
std::vector<std::string_view> parts(std::string_view text, char separator, std::size_t most) {
    std::vector<std::string_view> found;
    while (found.size() + 1 < most) {
        const std::size_t end = text.find(separator);
        if (end == text.npos) {
            break;
        }
        found.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    found.push_back(text);
    return found;
}

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines = parts(text, '\n', text.npos);
    std::erase_if(lines, [](std::string_view line) { return line.empty(); });
    return lines;
}

std::optional<std::int64_t> numberOf(std::string_view text) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole ? std::optional(number) : std::nullopt;
}

bool isNumber(std::string_view text) {
    return !text.empty() &&
           std::ranges::all_of(text, [](char letter) { return letter >= '0' && letter <= '9'; });
}

Instant instantOf(std::string_view seconds) {
    return Instant(std::chrono::seconds(numberOf(seconds).value_or(0)));
}

/// Git in one repository, in which an agent can have written.
class Repository {
  public:
    Repository(GitRunner git, std::string path) : git_(std::move(git)), path_(std::move(path)) {}

    Task<GitCommandResult> tryRun(Words words) const {
        Words complete{"-C", path_, "-c", "core.quotePath=true", "-c", "i18n.logOutputEncoding=UTF-8"};
        std::ranges::move(words, std::back_inserter(complete));
        return git_(std::move(complete));
    }

    /// Throws UserError.
    Task<std::string> run(Words words) const {
        const std::string command = words.front();
        GitCommandResult result = co_await tryRun(std::move(words));
        if (!result.succeeded()) {
            throw UserError("Git cannot tell what is kept in " + path_ + ": " +
                            result.outputOr("git " + command + " failed") + ".");
        }
        co_return std::move(result.output);
    }

    /// Of a branch that a remote has, as it was fetched last; else the one here; empty when there is none.
    Task<std::string> baseReference(std::string branch) const {
        Words list{"for-each-ref", "--format=%(refname)", "refs/heads/" + branch, "refs/remotes/*/" + branch};
        const std::string printed = co_await run(std::move(list));
        const auto found = linesOf(printed);
        const auto preferred = std::ranges::find(found, "refs/remotes/origin/" + branch);
        const auto remote = std::ranges::find_if(
            found, [](std::string_view reference) { return reference.starts_with("refs/remotes/"); });
        if (preferred != found.end()) {
            co_return std::string(*preferred);
        }
        co_return found.empty() ? "" : std::string(remote == found.end() ? found.front() : *remote);
    }

    Task<void> measure(PreservedWork& work) const {
        if (work.base.empty()) {
            co_return;
        }
        Words count{"rev-list", "--count", work.base + ".." + work.commit};
        const std::string commits = co_await run(std::move(count));
        work.commits = numberOf(commits).value_or(0);
        for (const PreservedFile& file : co_await files(work)) {
            ++work.files;
            work.added += file.added.value_or(0);
            work.deleted += file.deleted.value_or(0);
        }
        work.contained = co_await containment(work);
    }

    /// Since it left the base; none where they have no commit in common.
    Task<std::vector<PreservedFile>> files(const PreservedWork& work) const {
        Words compare{
            "diff",          "--numstat",
            "--no-ext-diff", "--no-textconv",
            "--no-renames",  (work.base.empty() ? work.commit + "^" : work.base) + "..." + work.commit};
        const GitCommandResult result = co_await tryRun(std::move(compare));
        co_return result.succeeded() ? readNumstat(result.output) : std::vector<PreservedFile>();
    }

    Task<std::vector<PreservedCommit>> commits(const PreservedWork& work) const {
        Words log{"log", mostCommits, "--format=%H%x09%ct%x09%an%x09%s",
                  work.base.empty() ? work.commit : work.base + ".." + work.commit};
        const std::string printed = co_await run(std::move(log));
        std::vector<PreservedCommit> commits;
        for (const std::string_view line : linesOf(printed)) {
            const auto fields = parts(line, '\t', 4);
            if (fields.size() == 4) {
                commits.push_back({.id = std::string(fields[0]),
                                   .time = instantOf(fields[1]),
                                   .author = std::string(fields[2]),
                                   .subject = std::string(fields[3])});
            }
        }
        co_return commits;
    }

  private:
    /// As it stands, or by commits that change the same.
    Task<Containment> containment(const PreservedWork& work) const {
        Words ask{"merge-base", "--is-ancestor", work.commit, work.base};
        const GitCommandResult ancestor = co_await tryRun(std::move(ask));
        if (ancestor.succeeded()) {
            co_return Containment::yes;
        }
        if (ancestor.status != 1) {
            co_return Containment::unknown;
        }
        const auto missing = co_await countMissing(work.base, work.commit);
        if (!missing || *missing == 0) {
            co_return !missing ? Containment::unknown : Containment::yes;
        }
        const bool isMoreKept = co_await holdsMoreThanItsFiles(work);
        if (isMoreKept) {
            co_return Containment::no;
        }
        const bool isSquashed = co_await isInOneCommit(work);
        if (isSquashed) {
            co_return Containment::yes;
        }
        const bool changesNothing = co_await wouldChangeNothing(work);
        co_return changesNothing ? Containment::yes : Containment::no;
    }

    /// Commits that the base does not have, and none that changes the same.
    Task<std::optional<std::int64_t>> countMissing(std::string base, std::string commit) const {
        Words compare{"rev-list", "--cherry-pick", "--right-only", "--count", base + "..." + commit};
        const GitCommandResult missing = co_await tryRun(std::move(compare));
        co_return missing.succeeded() ? numberOf(missing.output) : std::nullopt;
    }

    /// What was staged, a conflict's side or left behind is not in the files of the last commit.
    Task<bool> holdsMoreThanItsFiles(const PreservedWork& work) const {
        Words log{"log", "--format=%cE %s", work.base + ".." + work.commit};
        const std::string printed = co_await run(std::move(log));
        co_return std::ranges::any_of(linesOf(printed), [](std::string_view line) {
            const std::size_t blank = std::min(line.find(' '), line.size());
            const std::string_view subject = line.substr(std::min(blank + 1, line.size()));
            return line.substr(0, blank) == keepersAddress && !subject.starts_with("Work in progress on ");
        });
    }

    /// As when a merge has made one commit of several: one is made of them here, too, and looked for.
    Task<bool> isInOneCommit(const PreservedWork& work) const {
        Words find{"merge-base", work.base, work.commit};
        const GitCommandResult left = co_await tryRun(std::move(find));
        if (!left.succeeded()) {
            co_return false;
        }
        Words make{"-c",          "user.name=Quernlight Dispatch",
                   "-c",          "user.email=" + std::string(keepersAddress),
                   "commit-tree", work.commit + "^{tree}",
                   "-p",          left.output,
                   "-m",          "All of it"};
        const GitCommandResult made = co_await tryRun(std::move(make));
        if (!made.succeeded()) {
            co_return false;
        }
        const auto missing = co_await countMissing(work.base, made.output);
        co_return missing == 0;
    }

    /// Git before 2.38 cannot tell.
    Task<bool> wouldChangeNothing(const PreservedWork& work) const {
        Words merge{"merge-tree", "--write-tree", work.base, work.commit};
        const GitCommandResult merged = co_await tryRun(std::move(merge));
        Words lookUp{"rev-parse", "--verify", work.base + "^{tree}"};
        const GitCommandResult tree = co_await tryRun(std::move(lookUp));
        co_return merged.succeeded() && tree.succeeded() && merged.output == tree.output;
    }

    const GitRunner git_;
    const std::string path_;
};

Task<Repository> repositoryOf(std::string path, GitRunner git) {
    GitRunner careful = co_await guarded(std::move(git), path);
    co_return Repository(std::move(careful), std::move(path));
}

UserError inTheWay(const std::string& what) {
    return UserError(what + "; nothing was changed.");
}

Task<void> requireNewBranch(const Repository& repository, std::string branch) {
    Words check{"check-ref-format", "--branch", branch};
    const GitCommandResult isName = co_await repository.tryRun(std::move(check));
    if (branch.starts_with('-') || !isName.succeeded() || isName.output != branch) {
        throw inTheWay("\"" + branch + "\" cannot name a branch");
    }
    Words look{"rev-parse", "--verify", "--quiet", "refs/heads/" + branch};
    const GitCommandResult present = co_await repository.tryRun(std::move(look));
    if (present.succeeded()) {
        throw inTheWay("There is a branch \"" + branch + "\" already; name another one");
    }
}

}  // namespace

std::string bugOfPreserved(std::string_view name) {
    const std::size_t last = name.rfind('-');
    if (last == name.npos) {
        return std::string(name);
    }
    const std::string_view behind = name.substr(last + 1);
    if (!isNumber(behind) || behind.size() >= idLength) {
        return std::string(behind);
    }
    const std::string_view branch = name.substr(0, last);
    return std::string(branch.substr(branch.rfind('-') + 1));  // all of it without one: npos + 1 is 0
}

std::vector<PreservedFile> readNumstat(std::string_view printed) {
    std::vector<PreservedFile> files;
    for (const std::string_view line : linesOf(printed)) {
        const auto fields = parts(line, '\t', 3);  // "ADDED\tDELETED\tPATH", "-" for what is no text
        if (fields.size() == 3) {
            files.push_back({.path = std::string(fields[2]),
                             .added = numberOf(fields[0]),
                             .deleted = numberOf(fields[1])});
        }
    }
    return files;
}

Task<std::vector<PreservedWork>> preservedIn(AppMapping mapping, GitRunner git) {
    const Repository repository = co_await repositoryOf(mapping.repoPath, std::move(git));
    Words list{"for-each-ref", "--format=%(objectname) %(committerdate:unix) %(refname)",
               std::string(prefix)};
    const std::string printed = co_await repository.run(std::move(list));
    const std::string base = co_await repository.baseReference(mapping.baseBranch);
    std::vector<PreservedWork> works;
    for (const std::string_view line : linesOf(printed)) {
        const auto fields = parts(line, ' ', 3);
        if (fields.size() != 3 || !fields[2].starts_with(prefix)) {
            continue;
        }
        PreservedWork work{.name = std::string(fields[2].substr(prefix.size())),
                           .reference = std::string(fields[2]),
                           .commit = std::string(fields[0]),
                           .bundleID = mapping.bundleID,
                           .appName = mapping.appName,
                           .repository = mapping.repoPath,
                           .base = base,
                           .keptAt = instantOf(fields[1])};
        work.bugID = bugOfPreserved(work.name);
        works.push_back(std::move(work));
    }
    co_return works;
}

Task<PreservedWork> measured(PreservedWork work, GitRunner git) {
    const Repository repository = co_await repositoryOf(work.repository, std::move(git));
    co_await repository.measure(work);
    co_return work;
}

Task<PreservedDetails> preservedDetails(PreservedWork work, GitRunner git) {
    const Repository repository = co_await repositoryOf(work.repository, std::move(git));
    PreservedDetails details{.work = std::move(work)};
    details.commits = co_await repository.commits(details.work);
    details.files = co_await repository.files(details.work);
    details.files.resize(std::min(details.files.size(), mostFiles));
    co_return details;
}

Task<RestoredWork> restorePreserved(PreservedWork work, RestoreRequest request, GitRunner git) {
    const Repository repository = co_await repositoryOf(work.repository, std::move(git));
    if (request.branch) {
        co_await requireNewBranch(repository, *request.branch);
    }
    Words command{"branch", "--no-track", request.branch.value_or(""), work.commit};
    if (request.directory && request.branch) {
        command = {"worktree", "add",           "--quiet",          "--no-track",
                   "-b",       *request.branch, *request.directory, work.commit};
    } else if (request.directory) {
        command = {"worktree", "add", "--quiet", "--detach", *request.directory, work.commit};
    }
    const GitCommandResult done = co_await repository.tryRun(std::move(command));
    if (!done.succeeded()) {
        throw UserError("The work cannot be restored: " + done.outputOr("git failed") + ".");
    }
    co_return RestoredWork{.work = std::move(work),
                           .directory = std::move(request.directory),
                           .branch = std::move(request.branch)};
}

}  // namespace quernlight::host
