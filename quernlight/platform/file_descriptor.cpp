#include "quernlight/platform/file_descriptor.hpp"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace quernlight {

void FileDescriptor::close() {
    if (descriptor_ >= 0) {
        ::close(release());
    }
}

Pipe openPipe() {
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
    Pipe pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
    for (const int end : ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    return pipe;
}

}  // namespace quernlight
