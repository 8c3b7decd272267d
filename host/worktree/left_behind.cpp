#include "host/worktree/left_behind.hpp"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

bool isHexDigit(char letter) {
    return (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'f');
}

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::ranges::find(names, name) != names.end();
}

/// What a fetch has brought a remote has; an index holds no commits.
bool isSkipped(const std::string& name) {
    return isOneOf(name, {"FETCH_HEAD", "index", "modules"}) || name.starts_with("sharedindex.");
}

}  // namespace

void collectObjectNames(std::string_view text, std::set<std::string>& names) {
    constexpr std::size_t sha1 = 40;
    constexpr std::size_t sha256 = 64;
    for (std::size_t begin = 0; begin < text.size();) {
        const auto* const from = text.data() + begin;
        const auto* const to = std::find_if_not(from, text.data() + text.size(), isHexDigit);
        const std::string_view word(from, static_cast<std::size_t>(to - from));
        if ((word.size() == sha1 || word.size() == sha256) && word.find_first_not_of('0') != word.npos) {
            names.emplace(word);
        }
        begin += word.size() + 1;
    }
}

std::set<std::string> objectNamesIn(const fs::path& own) {
    std::set<std::string> names;
    for (fs::recursive_directory_iterator entry(own), end; entry != end; ++entry) {
        if (entry.depth() == 0 && isSkipped(entry->path().filename().string())) {
            entry.disable_recursion_pending();
        } else if (fs::is_regular_file(entry->symlink_status())) {
            std::ostringstream content;
            content << std::ifstream(entry->path(), std::ios::binary).rdbuf();
            collectObjectNames(content.view(), names);
        }
    }
    return names;
}

/// Each line is a commit and behind it its parents.
std::vector<std::string> tipsOf(std::string_view printed) {
    std::set<std::string> parents;
    std::vector<std::string> commits;
    for (const std::string_view line : linesOf(printed)) {
        const std::size_t end = std::min(line.find(' '), line.size());
        if (end > 0) {
            commits.emplace_back(line.substr(0, end));
            collectObjectNames(line.substr(end), parents);
        }
    }
    std::erase_if(commits, [&](const std::string& commit) { return parents.contains(commit); });
    std::ranges::sort(commits);
    return commits;
}

}  // namespace quernlight::host
