#include "host/home_lock.hpp"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "host/user_error.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {
namespace {

std::string ownerOf(const std::filesystem::path& lockFile) {
    std::ifstream file(lockFile);
    std::string owner;
    std::getline(file, owner);
    return owner.empty() ? "another process" : owner;
}

std::string describeThisProcess() {
    return "process " + std::to_string(getpid()) + " since " + formatInstant(currentInstant());
}

void writeOwner(int descriptor, const std::string& owner) {
    // The text is for people only; the lock holds without it, so a full disk must not get in the way.
    const std::string line = owner + "\n";
    if (ftruncate(descriptor, 0) == 0) {
        [[maybe_unused]] const auto written = pwrite(descriptor, line.data(), line.size(), 0);
    }
}

}  // namespace

HomeLock::HomeLock(const std::filesystem::path& home) {
    const std::filesystem::path lockFile = home / "owner.lock";
    file_ = FileDescriptor(open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (!file_) {
        throw UserError("The dispatch home " + home.string() + " cannot be written (" + std::strerror(errno) +
                        "); choose another with --home or mend its permissions.");
    }
    if (flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        throw UserError("The dispatch home " + home.string() + " belongs to " + ownerOf(lockFile) +
                        "; stop that one first, or choose another home with --home.");
    }
    writeOwner(file_.get(), describeThisProcess());
}

}  // namespace quernlight::host
