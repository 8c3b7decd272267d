#include "fuzz/property.hpp"
#include "quernlight/git/worktree_naming.hpp"

using namespace quernlight;

/// The input is a root, a line feed, and the id of a bug: whatever the id, its worktree lies inside the root.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input = fuzz::textOf(data, size);
    if (input.find('\0') != input.npos) {
        return 0;  // no path holds one
    }
    const auto [path, bugID] = fuzz::twoTextsOf(input);
    const std::string standard = WorktreeNaming::standardizedPath(path);
    fuzz::require(standard.starts_with('/'), "a standardised path is absolute");
    fuzz::require(WorktreeNaming::standardizedPath(standard) == standard,
                  "standardising twice changes nothing");
    for (const char* piece : {"/./", "/../", "//"}) {
        fuzz::require((standard + "/").find(piece) == std::string::npos || standard == "/",
                      "no needless piece is left");
    }
    fuzz::require(!WorktreeNaming::isInside(path, path), "no path is inside itself");
    if (!WorktreeNaming::refusal(bugID)) {
        const std::string worktree = WorktreeNaming::worktreePath(path, bugID, bugID);
        fuzz::require(WorktreeNaming::isInside(worktree, path), "a worktree is inside its root");
    }
    return 0;
}
