#include "host/process/home_lock.hpp"

#include <cerrno>
#include <fstream>
#include <string>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/process/private_files.hpp"
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

bool lockWithin(int descriptor, std::chrono::milliseconds timeout) {
    constexpr std::chrono::milliseconds pause{20};
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(pause);
    }
    return true;
}

}  // namespace

HomeLock::HomeLock(const std::filesystem::path& home, std::chrono::milliseconds timeout)
    : path_(home / "owner.lock") {
    makePrivateFile(path_);
    file_ = FileDescriptor(open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!file_) {
        throw unwritableHome(home, errno);
    }
    if (!lockWithin(file_.get(), timeout)) {
        throw HomeOwnedError("The dispatch home " + home.string() + " belongs to " + ownerOf(path_) +
                             "; stop that one first, or choose another home with --home.");
    }
    writeOwner(file_.get(), describeThisProcess());
}

UserError unwritableHome(const std::filesystem::path& home, int error) {
    return UserError("The dispatch home " + home.string() + " cannot be written (" +
                     std::generic_category().message(error) +
                     "); choose another with --home or check its permissions.");
}

bool HomeLock::isInPlace() const {
    struct stat locked {};
    struct stat there {};
    return fstat(file_.get(), &locked) == 0 && stat(path_.c_str(), &there) == 0 &&
           locked.st_dev == there.st_dev && locked.st_ino == there.st_ino;
}

}  // namespace quernlight::host
