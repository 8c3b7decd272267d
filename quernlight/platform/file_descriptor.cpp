#include "quernlight/platform/file_descriptor.hpp"

#include <unistd.h>

namespace quernlight {

void FileDescriptor::close() {
    if (descriptor_ >= 0) {
        ::close(release());
    }
}

}  // namespace quernlight
