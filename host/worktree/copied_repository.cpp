#include "host/worktree/copied_repository.hpp"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string>

#include "host/process/file_content.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view looseTag =
    "loose refs/tags/";  // one that may have been made here; a clone packs its own
constexpr std::array<std::string_view, 5> moves{"clone:", "checkout:", "fetch", "reset:", "branch:"};

/// Whether HEAD was only set to a commit that was there before: "pull" may merge or rebase, too.
bool isMove(std::string_view what) {
    return std::ranges::any_of(moves, [what](std::string_view move) { return what.starts_with(move); }) ||
           (what.starts_with("pull") &&
            (what.ends_with("Fast-forward") || what.find("(start)") != what.npos));
}

/// What a repository has noted of its HEAD, git-reflog(1): "OLD NEW WHO TIME ZONE<tab>WHAT" a line.
struct HeadLog {
    bool isThere = false;
    std::set<std::string> madeHere{};  // commits
};

HeadLog headLog(const std::string& content) {
    HeadLog log{.isThere = !content.empty()};
    for (const std::string_view line : linesOf(content)) {
        const std::size_t tab = line.find('\t'), first = line.find(' ');
        const bool isEntry = first < tab && tab != line.npos;
        if (isEntry && !isMove(trimmed(line.substr(tab + 1)))) {
            log.madeHere.emplace(line.substr(first + 1, line.find(' ', first + 1) - first - 1));
        }
    }
    return log;
}

/// What each reference names; of one that only names another one nothing, of a tag that git has packed its
/// commit.
class References {
  public:
    explicit References(const fs::path& directory)
        : log_(headLog(contentOf(directory / "logs/HEAD"))), fetched_(contentOf(directory / "FETCH_HEAD")) {
        const std::string settings = contentOf(directory / "config");
        const bool isBare = settings.find("bare = true") != std::string::npos;
        const bool knowsRemote = settings.find("[remote \"") != std::string::npos;
        isMirror_ = directory.filename() != ".git" && isBare && knowsRemote;
        readPacked(contentOf(directory / "packed-refs"));
        readLoose(directory);
        add("HEAD", contentOf(directory / "HEAD"));
    }

    bool areAllFromElsewhere() const {
        std::set<std::string> known;
        for (const auto& [name, commit] : named_) {
            if (isFromElsewhere(name, commit)) {
                known.insert(commit);
            }
        }
        return isAllRead_ && std::ranges::all_of(named_, [&](const auto& reference) {
                   return isFromElsewhere(reference.first, reference.second) ||
                          known.contains(reference.second);
               });
    }

  private:
    /// Empty for a file that is not there; what is there and cannot be read may name anything.
    std::string contentOf(const fs::path& file) {
        constexpr std::size_t largest = std::size_t{64} << 20U;
        auto content = fileContent(file, largest, LastLink::refused);
        std::error_code unknown;
        const bool isAbsent = fs::symlink_status(file, unknown).type() == fs::file_type::not_found;
        isAllRead_ = isAllRead_ && (content || isAbsent);
        return content ? std::move(*content) : "";
    }

    /// A clone has packed its remote's branches and tags; a HEAD that was only ever moved names a commit that
    /// was there.
    bool isFromElsewhere(std::string_view name, const std::string& commit) const {
        const bool isMoved = log_.isThere && !log_.madeHere.contains(commit);
        return name.starts_with("refs/remotes/") ||
               (name.starts_with("refs/tags/") && (isMoved || isMirror_)) ||
               (name == "HEAD" && log_.isThere && log_.madeHere.empty()) ||
               (name.starts_with("refs/heads/") && isMirror_ &&
                (packed_.contains(commit) || fetched_.find(commit) != std::string::npos));
    }

    void add(const std::string& name, std::string_view content) {
        const std::string_view commit = trimmed(content);
        if (!commit.empty() && !commit.starts_with("ref:")) {
            named_[name] = commit;
        }
    }
    void readPacked(const std::string& content) {
        std::string name;
        for (const std::string_view line : linesOf(content)) {
            const std::size_t blank = line.find(' ');
            if (line.starts_with('^')) {
                add(name, line.substr(1));
            } else if (!line.starts_with('#') && blank != line.npos) {
                name = trimmed(line.substr(blank));
                add(name, line.substr(0, blank));
                packed_.emplace(line.substr(0, blank));
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

    bool isAllRead_ = true;  // before what is read
    const HeadLog log_;
    const std::string fetched_;
    bool isMirror_ = false;
    std::set<std::string> packed_;
    std::map<std::string, std::string> named_;
};

}  // namespace

bool isRepository(const fs::path& directory) {
    std::error_code none;
    return fs::is_directory(fs::symlink_status(directory, none)) &&
           fs::is_regular_file(fs::symlink_status(directory / "HEAD", none)) &&
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
    const bool hasWorktrees = fs::exists(dotGit / "worktrees", none);  // with commits and logs of their own
    return isReadable && !hasWorktrees && !fs::exists(dotGit / "reftable", none) &&
           References(dotGit).areAllFromElsewhere();
}

}  // namespace quernlight::host
