#include "host/view/bounded_log.hpp"

#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/process/private_files.hpp"

namespace quernlight::host {
namespace {

namespace fs = std::filesystem;

/// Of the file, when the descriptor appends to it.
std::optional<std::uintmax_t> sizeThrough(int descriptor, const fs::path& file) {
    struct stat opened {};
    struct stat named {};
    const int flags = ::fcntl(descriptor, F_GETFL);
    const bool isFile = flags >= 0 && (flags & O_APPEND) != 0 && ::fstat(descriptor, &opened) == 0 &&
                        S_ISREG(opened.st_mode) && ::lstat(file.c_str(), &named) == 0 &&
                        opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
    return isFile ? std::optional(static_cast<std::uintmax_t>(opened.st_size)) : std::nullopt;
}

}  // namespace

bool BoundedLog::moveToOlder(std::uintmax_t size) const {
    const fs::path older = file_.string() + ".1";
    const fs::path beginning = file_.string() + ".1.new";
    std::error_code error;
    makePrivateFile(beginning);
    const bool isWhole = fs::copy_file(file_, beginning, fs::copy_options::overwrite_existing, error) &&
                         fs::file_size(beginning, error) >= size && !error;
    if (isWhole) {
        fs::rename(beginning, older, error);
    }
    if (!isWhole || error) {
        fs::remove(beginning, error);
        return false;
    }
    return true;
}

void BoundedLog::look(int descriptor) {
    const auto size = sizeThrough(descriptor, file_);
    if (!size || *size <= nextAt_) {
        return;
    }
    const bool isDone = moveToOlder(*size) && ::ftruncate(descriptor, 0) == 0;
    nextAt_ = isDone ? most_ : *size + most_ / 8;
}

}  // namespace quernlight::host
