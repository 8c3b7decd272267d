#include "host/worktree/copied_repository.hpp"

#include <algorithm>
#include <fstream>
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

bool isFromElsewhere(std::string_view reference) {
    return reference.starts_with("refs/remotes/") || reference.starts_with("refs/tags/");
}

/// What each reference names; of one that only names another one nothing. A tag's commit stands under no name
/// behind it, "^" before it.
class References {
  public:
    explicit References(const fs::path& directory) {
        readPacked(contentOf(directory / "packed-refs"));
        readLoose(directory);
        add("HEAD", contentOf(directory / "HEAD"));
    }

    bool areAllFromElsewhere() const {
        std::set<std::string> known = tagged_;
        for (const auto& [name, commit] : named_) {
            if (isFromElsewhere(name)) {
                known.insert(commit);
            }
        }
        return std::ranges::all_of(named_, [&known](const auto& reference) {
            return isFromElsewhere(reference.first) || known.contains(reference.second);
        });
    }

  private:
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

    std::map<std::string, std::string> named_;
    std::set<std::string> tagged_;
};

}  // namespace

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
