#include "host/worktree/worktree_snapshot.hpp"

#include <filesystem>
#include <fstream>

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

/// With its time, by which git knows that a file which was written in the same moment may have changed since.
void copyFile(const fs::path& from, const fs::path& to) {
    if (!fs::is_regular_file(fs::symlink_status(from))) {
        return;
    }
    fs::copy_file(from, to);
    fs::last_write_time(to, fs::last_write_time(from));
}

}  // namespace

/// What is made here is a worktree's administrative directory, see gitrepository-layout(5). A large index may
/// have a part that several share. The worktree's own settings are left out, since an agent may have written
/// them.
WorktreeSnapshot::WorktreeSnapshot(const WorktreePointers& pointers) : place_(pointers.place.string()) {
    copyFile(pointers.own / "HEAD", scratch_.path() / "HEAD");
    copyFile(pointers.own / "index", scratch_.path() / "index");
    for (const auto& entry : fs::directory_iterator(pointers.own)) {
        if (entry.path().filename().string().starts_with("sharedindex.")) {
            copyFile(entry.path(), scratch_.path() / entry.path().filename());
        }
    }
    std::ofstream(scratch_.path() / "commondir") << pointers.common.string() << "\n";
}

std::vector<std::string> WorktreeSnapshot::options() const {
    return {"-C", place_, "--git-dir=" + scratch_.path().string(), "--work-tree=" + place_};
}

}  // namespace quernlight::host
