#include "host/worktree/git_listing.hpp"

#include <algorithm>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {

std::string unquoted(std::string_view printed) {
    if (!printed.starts_with('"')) {
        return std::string(printed);
    }
    constexpr std::string_view letters = "abtnvfr";
    constexpr std::string_view meanings = "\a\b\t\n\v\f\r";
    std::string path;
    for (std::size_t next = 1; next + 1 < printed.size(); ++next) {
        if (printed[next] != '\\') {
            path += printed[next];
            continue;
        }
        const char escaped = printed[++next];
        const std::size_t letter = letters.find(escaped);
        if (escaped >= '0' && escaped <= '7') {
            path += static_cast<char>(std::stoi(std::string(printed.substr(next, 3)), nullptr, 8));
            next += 2;
        } else {
            path += letter == std::string_view::npos ? escaped : meanings[letter];
        }
    }
    return path;
}

/// "MODE ID STAGE\tPATH", see git-ls-files(1).
std::vector<IndexEntry> indexEntries(std::string_view printed) {
    std::vector<IndexEntry> entries;
    for (const std::string_view line : linesOf(printed)) {
        const std::size_t mode = line.find(' ');
        const std::size_t tab = line.find('\t');
        const std::size_t id = mode == line.npos ? mode : line.find(' ', mode + 1);
        if (tab == line.npos || id == line.npos || id + 2 != tab) {
            continue;
        }
        entries.push_back({.mode = std::string(line.substr(0, mode)),
                           .id = std::string(line.substr(mode + 1, id - mode - 1)),
                           .stage = line[id + 1] - '0',
                           .path = unquoted(line.substr(tab + 1))});
    }
    return entries;
}

std::vector<std::string> listedPaths(std::string_view printed) {
    std::vector<std::string> paths;
    for (const std::string_view line : linesOf(printed)) {
        if (!line.empty()) {
            paths.push_back(unquoted(line));
        }
    }
    return paths;
}

/// "TAG PATH", see git-ls-files(1): a small letter is assumed unchanged, "S" is skipped, "s" both.
std::vector<OverlookedPath> overlookedPaths(std::string_view printed) {
    std::vector<OverlookedPath> paths;
    for (const std::string_view line : linesOf(printed)) {
        const char tag = line.empty() ? 'H' : line.front();
        const bool isSkipped = tag == 'S' || tag == 's';
        if (isSkipped || (tag >= 'a' && tag <= 'z')) {
            paths.push_back({.path = unquoted(line.substr(std::min<std::size_t>(2, line.size()))),
                             .isSkipped = isSkipped});
        }
    }
    return paths;
}

}  // namespace quernlight::host
