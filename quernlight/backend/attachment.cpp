#include "quernlight/backend/attachment.hpp"

#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight {
namespace {

[[noreturn]] void failReading(const std::filesystem::path& file, int error) {
    throw std::system_error(error, std::generic_category(),
                            "The attachment \"" + file.string() + "\" cannot be read");
}

/// Non-blocking, because opening a named pipe would wait for its writer.
FileDescriptor openRegularFile(const std::filesystem::path& file) {
    FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!descriptor || ::fstat(descriptor.get(), &status) != 0) {
        failReading(file, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        failReading(file, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    }
    return descriptor;
}

std::string readWhole(const std::filesystem::path& file, std::size_t limit) {
    const auto access = openSecurityScope(file);
    const FileDescriptor descriptor = openRegularFile(file);
    std::string bytes;
    std::array<char, 64 * 1024> chunk;
    while (true) {
        const ssize_t count = ::read(descriptor.get(), chunk.data(), chunk.size());
        if (count == 0) {
            return bytes;
        }
        if (count > 0) {
            bytes.append(chunk.data(), static_cast<std::size_t>(count));
            if (bytes.size() > limit) {
                failReading(file, EFBIG);
            }
        } else if (errno != EINTR) {
            failReading(file, errno);
        }
    }
}

}  // namespace

std::string attachmentName(const std::filesystem::path& file) {
    const std::string name = file.filename().string();
    return name.empty() ? "attachment" : name;
}

Attachment readAttachment(const std::filesystem::path& file, std::size_t limit) {
    const std::string extension = file.extension().string();
    Attachment attachment;
    attachment.filename = attachmentName(file);
    attachment.contentType = mimeTypeForExtension(extension.empty() ? extension : extension.substr(1));
    attachment.bytes = readWhole(file, limit);
    return attachment;
}

}  // namespace quernlight
