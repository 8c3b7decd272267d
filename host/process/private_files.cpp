#include "host/process/private_files.hpp"

#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

constexpr mode_t othersRights = S_IRWXG | S_IRWXO;

/// Never by way of an open descriptor: closing one would end SQLite's locks on the file
/// (sqlite.org/howtocorrupt.html).
void takeOthersRights(const fs::path& path) {
    struct stat found {};
    const bool isKept = stat(path.c_str(), &found) == 0 && found.st_uid == geteuid() &&
                        (S_ISREG(found.st_mode) || S_ISDIR(found.st_mode)) && (found.st_mode & S_ISVTX) == 0;
    if (isKept && (found.st_mode & othersRights) != 0) {
        chmod(path.c_str(), found.st_mode & ~othersRights & 07777);
    }
}

}  // namespace

void makePrivateFile(const fs::path& file) {
    const FileDescriptor made(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!made) {
        takeOthersRights(file);
    }
}

void protectHome(const fs::path& home) {
    takeOthersRights(home);
    const std::string queue = FileLocations::databaseURL(home).string();
    for (const fs::path& file :
         {fs::path(queue), fs::path(queue + "-wal"), fs::path(queue + "-shm"), home / "owner.lock"}) {
        takeOthersRights(file);
    }
}

void protectAttempt(const fs::path& home, const fs::path& attempt) {
    fs::path directory = home;
    for (const fs::path& name : attempt.lexically_relative(home)) {
        directory /= name;
        takeOthersRights(directory);
    }
}

void protectTree(const fs::path& directory) {
    std::error_code unreadable;
    takeOthersRights(directory);
    fs::recursive_directory_iterator entry(directory, unreadable);
    while (!unreadable && entry != fs::recursive_directory_iterator()) {
        if (!entry->is_symlink(unreadable)) {
            takeOthersRights(entry->path());
        }
        entry.increment(unreadable);
    }
}

}  // namespace quernlight::host
