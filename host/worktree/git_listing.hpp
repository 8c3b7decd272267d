#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quernlight::host {

/// One entry of an index, as `git ls-files --stage` prints it.
struct IndexEntry {
    std::string mode{};
    std::string id{};
    int stage = 0;  ///< 1 to 3 of a conflict: the common ancestor's, ours, theirs
    std::string path{};

    bool isRepository() const { return mode == "160000"; }
};

// Of what git prints with core.quotePath, because output that is not UTF-8 counts as empty. Pure.

/// A path, quoted as in C when it holds anything unusual, see git-config(1).
std::string unquoted(std::string_view printed);

/// Lines that are no entry are left out.
std::vector<IndexEntry> indexEntries(std::string_view printed);

/// Lines of one path each.
std::vector<std::string> listedPaths(std::string_view printed);

/// Those paths that git was told to overlook, of what `git ls-files -v` prints.
struct OverlookedPath {
    std::string path{};
    bool isSkipped = false;  ///< as a sparse checkout marks what it leaves out
};
std::vector<OverlookedPath> overlookedPaths(std::string_view printed);

}  // namespace quernlight::host
