#include "host/worktree/worktree_pointers.hpp"

#include <array>
#include <optional>
#include <set>
#include <string_view>

#include "host/process/file_content.hpp"
#include "host/text/shell_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view linkPrefix = "gitdir: ";

std::optional<std::string> contentOf(const fs::path& file) {
    constexpr std::size_t largest = std::size_t{64} << 10U;
    return fileContent(file, largest, LastLink::refused);
}

bool isThere(const fs::path& path) {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path, ignored));
}

bool isRealDirectory(const fs::path& path) {
    std::error_code ignored;
    return fs::is_directory(fs::symlink_status(path, ignored));
}

bool isRealFile(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(fs::symlink_status(path, ignored));
}

/// Without the line's end.
std::string lineIn(const std::string& content) {
    return content.ends_with('\n') ? content.substr(0, content.size() - 1) : content;
}

/// By way of no link, and of no directory that it leaves again: either could be another a moment later.
bool goesStraight(const fs::path& text, const fs::path& directory) {
    fs::path place = directory;
    bool isGoingUp = true;
    for (const fs::path& name : text) {
        place /= name;
        isGoingUp = isGoingUp && name == "..";
        std::error_code ignored;
        if ((name == ".." && !isGoingUp) || fs::is_symlink(fs::symlink_status(place, ignored))) {
            return false;
        }
    }
    return true;
}

/// Whether the text names the path as git writes it in a file of that directory.
bool names(const std::string& text, const fs::path& path, const fs::path& directory) {
    std::error_code isMissing;
    return text == path.string() || text == path.lexically_relative(directory).string() ||
           (goesStraight(text, directory) && fs::equivalent(directory / text, path, isMissing));
}

fs::path realPath(const fs::path& path) {
    std::error_code error;
    const fs::path resolved = fs::canonical(path, error);
    return error ? path : resolved;
}

/// Of the repository that the directory is in; itself where that is bare.
fs::path gitDirectoryOf(const fs::path& repository) {
    for (fs::path directory = repository;; directory = directory.parent_path()) {
        const fs::path entry = directory / ".git";
        std::error_code ignored;
        if (fs::is_directory(entry, ignored)) {
            return realPath(entry);
        }
        const std::string link = lineIn(contentOf(entry).value_or(""));
        if (link.starts_with(linkPrefix)) {
            return realPath(directory / link.substr(linkPrefix.size()));
        }
        if (directory == directory.parent_path()) {
            return repository;
        }
    }
}

fs::path commonDirectoryOf(const fs::path& repository) {
    const fs::path own = gitDirectoryOf(realPath(repository));
    const auto common = contentOf(own / "commondir");
    return common ? realPath(own / lineIn(*common)) : own;
}

/// Each line behind the header of its section.
std::set<std::string> entriesIn(const std::string& configuration) {
    std::set<std::string> entries;
    std::string section;
    for (const std::string_view line : linesOf(configuration)) {
        const std::string text(trimmed(line));
        const bool isHeader = text.starts_with('[') && text.find(']') == text.size() - 1;
        if (isHeader) {
            section = text;
        } else if (!text.empty()) {
            entries.insert(section + " " + text);
        }
    }
    return entries;
}

/// Whether the entry makes git run nothing, read nothing else and overlook nothing, whatever its value is. A
/// value that goes on in the next line could hide what that is.
bool isHarmless(const std::string& entry) {
    static const std::set<std::string> keys{"[core] bare",
                                            "[core] sparsecheckout",
                                            "[core] sparsecheckoutcone",
                                            "[index] sparse",
                                            "[user] name",
                                            "[user] email",
                                            "[user] useconfigonly",
                                            "[user] signingkey",
                                            "[author] name",
                                            "[author] email",
                                            "[committer] name",
                                            "[committer] email",
                                            "[pull] ff",
                                            "[pull] rebase",
                                            "[push] default",
                                            "[push] autosetupremote"};
    const std::string key(trimmed(std::string_view(entry).substr(0, entry.find('='))));
    return keys.contains(lowercased(key)) && !entry.ends_with('\\');
}

/// Harmless, or what `git worktree add` has copied from the repository's own.
bool isGitsConfiguration(const fs::path& file, const fs::path& common) {
    const auto content = contentOf(file);
    const auto known = entriesIn(contentOf(common / "config.worktree").value_or(""));
    if (!content) {
        return !isThere(file);
    }
    for (const std::string& entry : entriesIn(*content)) {
        if (!isHarmless(entry) && !known.contains(entry)) {
            return false;
        }
    }
    return true;
}

PointerState stateOf(const fs::path& file, PointerState otherwise) {
    const bool isMissing = !isThere(file) || contentOf(file) == "";
    return isMissing ? PointerState::incomplete : otherwise;
}

}  // namespace

WorktreePointers pointersOf(const fs::path& repository, const fs::path& worktree) {
    const fs::path place = realPath(worktree);
    WorktreePointers pointers{
        .file = place / ".git", .place = place, .common = commonDirectoryOf(repository)};
    const std::string link = lineIn(contentOf(pointers.file).value_or(""));
    const fs::path named = link.substr(std::min(linkPrefix.size(), link.size()));
    pointers.own = pointers.common / "worktrees" / named.filename();
    const bool isLink = link.starts_with(linkPrefix);
    if (!isLink || !names(named.string(), pointers.own, place) || !isRealDirectory(pointers.own)) {
        const bool isOwn = isLink && named == pointers.own && !isThere(pointers.own);
        pointers.state = isOwn ? PointerState::incomplete : stateOf(pointers.file, PointerState::foreign);
        pointers.leadsNowhere = isLink && !isOwn && !isThere(place / named);
        return pointers;
    }
    const auto judge = [&](const char* name, bool isRight) {
        if (pointers.state == PointerState::intact && !isRight) {
            pointers.file = pointers.own / name;
            pointers.state = stateOf(pointers.file, PointerState::altered);
        }
    };
    const auto judgePath = [&](const char* name, const fs::path& path) {
        const std::string text = lineIn(contentOf(pointers.own / name).value_or(""));
        judge(name, names(text, path, pointers.own));
        pointers.leadsNowhere |= pointers.state == PointerState::altered &&
                                 pointers.file == pointers.own / name && !text.empty() &&
                                 !isThere(pointers.own / text);
    };
    judgePath("commondir", pointers.common);
    judgePath("gitdir", place / ".git");
    judge("config.worktree", isGitsConfiguration(pointers.own / "config.worktree", pointers.common));
    for (const char* name : {"index", "HEAD"}) {  // a git that opens a FIFO waits for ever
        judge(name, !isThere(pointers.own / name) || isRealFile(pointers.own / name));
    }
    return pointers;
}

std::string describe(const WorktreePointers& pointers) {
    if (pointers.leadsNowhere) {
        return pointers.file.string() +
               " names a place where nothing is; after a move of the repository or the worktree \"git -C " +
               shellQuoted(pointers.common.string()) + " worktree repair " +
               shellQuoted(pointers.place.string()) + "\" mends that";
    }
    return "what git wrote to " + pointers.file.string() +
           " was changed, so it may lead git to a repository and to programs that are not yours";
}

std::vector<fs::path> gitDirectoriesOf(const fs::path& repository, const fs::path& worktree) {
    const WorktreePointers pointers = pointersOf(repository, worktree);
    if (pointers.state != PointerState::intact) {
        return {};
    }
    return {pointers.own, pointers.common / "objects", pointers.common / "refs", pointers.common / "logs"};
}

}  // namespace quernlight::host
