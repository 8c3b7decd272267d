#include "host/worktree/worktree_comparison.hpp"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "host/worktree/place_unknown.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

constexpr std::size_t mostUnfinished = 100;

void write(const fs::path& file, const std::string& line) {
    std::ofstream(file) << line << "\n";
}

std::string contentOf(const fs::path& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return std::move(content).str();
}

/// The path in a line of `git status --porcelain=v2`, see git-status(1): the field after `fields` others.
std::string pathIn(std::string_view line, int fields) {
    for (int field = 0; field < fields; ++field) {
        line.remove_prefix(std::min(line.find(' '), line.size() - 1) + 1);
    }
    return std::string(line);
}

/// A warning says nothing of what is there, unless git could not look.
bool isNotice(std::string_view line) {
    const bool isBlind = line.starts_with("warning: could not");
    return line.empty() || (line.starts_with("warning: ") && !isBlind) || line.starts_with("hint: ");
}

/// Everything but git's own file in it.
std::vector<std::string> entriesOf(const fs::path& directory) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) {
        if (entry.path().filename() != ".git") {
            names.push_back(validUtf8(entry.path().filename().string()));
        }
    }
    return names;
}

}  // namespace

/// The scratch directory is a worktree's administrative one, see gitrepository-layout(5): the index in it is
/// used, the configuration and the objects are the repository's.
WorktreeComparison::WorktreeComparison(std::string path, std::string commonDirectory, std::string commit,
                                       GitRunner run)
    : path_(std::move(path)), commit_(std::move(commit)), run_(std::move(run)) {
    write(scratch_.path() / "HEAD", commit_);
    write(scratch_.path() / "commondir", commonDirectory);
}

Task<std::vector<std::string>> WorktreeComparison::differences(bool gitMayHaveBeenWriting) {
    if (commit_.empty()) {
        co_return entriesOf(path_);
    }
    co_return co_await differencesFromCommit(gitMayHaveBeenWriting);
}

Task<std::string> WorktreeComparison::git(std::vector<std::string> arguments) {
    std::vector<std::string> whole{"-C", path_, "--git-dir=" + scratch_.path().string(),
                                   "--work-tree=" + path_};
    whole.insert(whole.end(), arguments.begin(), arguments.end());
    const GitCommandResult result = co_await run_(std::move(whole));
    if (!result.succeeded()) {
        throw PlaceUnknown(result.outputOr("Git cannot tell what the worktree at " + path_ + " holds."));
    }
    co_return result.output;
}

Task<std::vector<std::string>> WorktreeComparison::differencesFromCommit(bool gitMayHaveBeenWriting) {
    std::vector<std::string> read{"read-tree", "HEAD"};
    co_await git(std::move(read));
    std::vector<std::string> ask{"-c",
                                 "core.quotePath=true",
                                 "status",
                                 "--porcelain=v2",
                                 "--untracked-files=all",
                                 "--ignore-submodules=dirty",  // else it runs in them, by their settings
                                 "--ignored",
                                 "--no-renames"};
    const std::string status = co_await git(std::move(ask));
    std::vector<std::string> different = co_await filledSubmodules();
    std::vector<std::string> changed;
    for (const std::string_view line : linesOf(status)) {
        if (line.starts_with("1 .M ")) {
            changed.push_back(pathIn(line, 8));
        } else if (!isNotice(line) && !line.starts_with("1 .D ")) {
            different.push_back(pathIn(line, line.starts_with("1 ") ? 8 : 1));
        }
    }
    if (gitMayHaveBeenWriting) {
        co_await dropUnfinished(changed);
    }
    different.insert(different.end(), changed.begin(), changed.end());
    co_return different;
}

/// Git makes an empty directory for a submodule and does not look what is in it.
Task<std::vector<std::string>> WorktreeComparison::filledSubmodules() {
    std::vector<std::string> list{"-c", "core.quotePath=true", "ls-files", "--stage"};
    const std::string entries = co_await git(std::move(list));
    std::vector<std::string> filled;
    for (const std::string_view line : linesOf(entries)) {
        // "MODE ID STAGE\tPATH", see git-ls-files(1)
        const fs::path name(line.substr(std::min(line.find('\t'), line.size() - 1) + 1));
        const bool isQuoted = name.string().starts_with('"');
        std::error_code error;
        if (line.starts_with("160000 ") && (isQuoted || !fs::is_empty(path_ / name, error)) && !error) {
            filled.push_back(name.string());
        }
    }
    co_return filled;
}

/// Those that git was about to write when it was killed. A name with unusual letters stands quoted here and
/// counts as a change.
Task<void> WorktreeComparison::dropUnfinished(std::vector<std::string>& changed) {
    if (changed.empty() || changed.size() > mostUnfinished) {
        co_return;
    }
    std::vector<std::string> copy{"checkout-index", "--prefix=" + (scratch_.path() / "copy/").string(), "--"};
    std::copy_if(changed.begin(), changed.end(), std::back_inserter(copy),
                 [](const std::string& name) { return !name.starts_with('"'); });
    co_await git(std::move(copy));
    std::erase_if(changed, [this](const std::string& name) { return isUnfinished(name); });
}

/// Whether the file is what git would write, or the beginning of it.
bool WorktreeComparison::isUnfinished(const fs::path& name) const {
    const fs::path file = path_ / name;
    const fs::path whole = scratch_.path() / "copy" / name;
    std::error_code error;
    if (!fs::is_regular_file(fs::symlink_status(file, error)) ||
        !fs::is_regular_file(fs::symlink_status(whole, error))) {
        return false;
    }
    constexpr fs::perms executable = fs::perms::owner_exec;
    const bool isOfOneKind = (fs::status(file, error).permissions() & executable) ==
                             (fs::status(whole, error).permissions() & executable);
    return isOfOneKind && contentOf(whole).starts_with(contentOf(file));
}

}  // namespace quernlight::host
