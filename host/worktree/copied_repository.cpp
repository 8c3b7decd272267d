#include "host/worktree/copied_repository.hpp"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

std::string contentOf(const fs::path& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

constexpr std::string_view looseTag =
    "loose refs/tags/";  // one that may have been made here; a clone packs its own
constexpr std::array<std::string_view, 6> moves{"clone:", "checkout:", "fetch", "pull", "reset:", "branch:"};

/// The commits that were made here, by what the repository has noted of its HEAD: "OLD NEW WHO TIME
/// ZONE\tWHAT" a line, gitformat-reflog in git-reflog(1). What was cloned, fetched or gone back to was there
/// before.
std::set<std::string> madeHere(const std::string& log) {
    std::set<std::string> commits;
    for (const std::string_view line : linesOf(log)) {
        const std::size_t tab = line.find('\t'), first = line.find(' ');
        if (tab == line.npos || first == line.npos || first > tab) {
            continue;
        }
        const std::string_view what = line.substr(tab + 1);
        const bool isMove =
            std::ranges::any_of(moves, [what](std::string_view move) { return what.starts_with(move); });
        if (!isMove) {
            commits.emplace(line.substr(first + 1, line.find(' ', first + 1) - first - 1));
        }
    }
    return commits;
}

/// What each reference names; of one that only names another one nothing. A tag's commit stands under no name
/// behind it, "^" before it.
class References {
  public:
    explicit References(const fs::path& directory) : madeHere_(madeHere(contentOf(directory / "logs/HEAD"))) {
        // A bare one that knows a remote has that one's branches.
        const std::string settings = contentOf(directory / "config");
        isMirror_ = settings.find("bare = true") != std::string::npos &&
                    settings.find("[remote \"") != std::string::npos;
        readPacked(contentOf(directory / "packed-refs"));
        readLoose(directory);
        add("HEAD", contentOf(directory / "HEAD"));
    }

    bool areAllFromElsewhere() const {
        std::set<std::string> known;
        std::ranges::set_difference(tagged_, madeHere_, std::inserter(known, known.end()));
        for (const auto& [name, commit] : named_) {
            if (isFromElsewhere(name, commit)) {
                known.insert(commit);
            }
        }
        return std::ranges::all_of(named_, [&](const auto& reference) {
            return isFromElsewhere(reference.first, reference.second) || known.contains(reference.second);
        });
    }

  private:
    bool isFromElsewhere(std::string_view name, const std::string& commit) const {
        return name.starts_with("refs/remotes/") || (isMirror_ && name.starts_with("refs/heads/")) ||
               (name.starts_with("refs/tags/") && !madeHere_.contains(commit));
    }
    void add(const std::string& name, std::string_view content) {
        const std::string_view commit = trimmed(content);
        if (!commit.empty() && !commit.starts_with("ref:")) {
            named_[name] = commit;
        }
    }
    void readPacked(const std::string& content) {
        for (const std::string_view line : linesOf(content)) {
            const std::size_t blank = line.find(' ');
            if (line.starts_with('^')) {
                tagged_.emplace(trimmed(line.substr(1)));
            } else if (!line.starts_with('#') && blank != line.npos) {
                add(std::string(trimmed(line.substr(blank))), line.substr(0, blank));
            }
        }
    }
    void readLoose(const fs::path& directory) {
        std::error_code none;
        for (fs::recursive_directory_iterator entry(directory / "refs", none), end; !none && entry != end;
             entry.increment(none)) {
            if (fs::is_regular_file(entry->symlink_status(none))) {
                const std::string name = entry->path().lexically_relative(directory).string();
                const bool isTag = name.starts_with("refs/tags/");
                add(isTag ? std::string(looseTag) + name : name, contentOf(entry->path()));
            }
        }
    }

    const std::set<std::string> madeHere_;
    bool isMirror_ = false;
    std::map<std::string, std::string> named_;
    std::set<std::string> tagged_;
};

}  // namespace

bool isRepository(const fs::path& directory) {
    std::error_code none;
    return fs::is_regular_file(fs::symlink_status(directory / "HEAD", none)) &&
           fs::is_directory(fs::symlink_status(directory / "objects", none)) &&
           fs::is_directory(fs::symlink_status(directory / "refs", none));
}

bool isCopiedRepository(const fs::path& dotGit) {
    std::error_code none;
    if (fs::is_regular_file(fs::symlink_status(dotGit, none))) {
        return true;  // the repository lies elsewhere
    }
    const bool isReadable = fs::is_regular_file(fs::symlink_status(dotGit / "HEAD", none)) &&
                            fs::directory_iterator(dotGit / "refs", none) != fs::directory_iterator();
    return isReadable && !fs::exists(dotGit / "reftable", none) && References(dotGit).areAllFromElsewhere();
}

}  // namespace quernlight::host
