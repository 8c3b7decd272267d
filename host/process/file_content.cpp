#include "host/process/file_content.hpp"

#include <algorithm>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::host {

/// Opened without blocking, for a pipe without a writer would not open; what is read is counted, for a file
/// may grow, and some of the system's tell no size.
std::optional<std::string> fileContent(const std::filesystem::path& file, std::size_t largest,
                                       LastLink link) {
    const int flags =
        O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | (link == LastLink::refused ? O_NOFOLLOW : 0);
    const FileDescriptor descriptor(open(file.c_str(), flags));
    struct stat found {};
    if (!descriptor || fstat(descriptor.get(), &found) != 0 || !S_ISREG(found.st_mode)) {
        return std::nullopt;
    }
    constexpr std::size_t pieceSize = std::size_t{64} << 10U;
    std::string content;
    while (content.size() <= largest) {
        const std::size_t before = content.size();
        content.resize(before + pieceSize);
        const ssize_t size = read(descriptor.get(), content.data() + before, pieceSize);
        content.resize(before + static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        if (size <= 0) {
            return size < 0 || content.size() > largest ? std::nullopt : std::optional(std::move(content));
        }
    }
    return std::nullopt;
}

}  // namespace quernlight::host
