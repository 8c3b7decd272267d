#include "host/worktree/ignored_files.hpp"

#include <set>

#include "host/text/counted.hpp"
#include "host/worktree/copied_repository.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

void count(IgnoredFiles& ignored, const fs::directory_entry& entry) {
    std::error_code error;
    const auto size = entry.is_regular_file(error) && !entry.is_symlink(error) ? entry.file_size(error) : 0;
    ++ignored.files;
    ignored.bytes += error ? 0 : size;
}

void noteRepository(IgnoredFiles& ignored, const fs::path& directory) {
    ++ignored.repositories;
    if (!isCopiedRepository(directory)) {
        ignored.ownRepository =
            (directory.filename() == ".git" ? directory.parent_path() : directory).string();
    }
}

void walk(IgnoredFiles& ignored, const fs::path& directory) {
    std::error_code error;
    for (fs::recursive_directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code unknown;
        const bool isDirectory = fs::is_directory(entry->symlink_status(unknown));
        if (entry->path().filename() == ".git" || (isDirectory && isRepository(entry->path()))) {
            noteRepository(ignored, entry->path());
        }
        if (!isDirectory) {
            count(ignored, *entry);
        }
    }
    ignored.files += error ? 1 : 0;
}

}  // namespace

IgnoredFiles ignoredFiles(const fs::path& worktree, const std::vector<std::string>& paths) {
    IgnoredFiles ignored;
    std::set<fs::path> around;  // git names a directory, or what is in one
    for (const std::string& path : paths) {
        std::error_code unknown;
        const fs::path place = (worktree / path / "").parent_path();
        const fs::directory_entry entry(place, unknown);
        const bool isDirectory = fs::is_directory(entry.symlink_status(unknown));
        for (const fs::path& directory : {isDirectory ? place : fs::path(), place.parent_path()}) {
            const bool isInside = !directory.empty() && directory != worktree;
            if (isInside && around.insert(directory).second &&
                (directory.filename() == ".git" || isRepository(directory))) {
                noteRepository(ignored, directory);
            }
        }
        if (isDirectory) {
            walk(ignored, entry.path());
        } else {
            count(ignored, entry);
        }
    }
    return ignored;
}

std::string describe(const IgnoredFiles& ignored) {
    if (ignored.files == 0) {
        return "";
    }
    const std::string repositories =
        ignored.repositories == 0
            ? ""
            : ", " + counted(ignored.repositories, "git repository", "git repositories") + " among them";
    return counted(ignored.files, "file") + " that git ignores (" + sizeText(ignored.bytes) + repositories +
           ")";
}

}  // namespace quernlight::host
