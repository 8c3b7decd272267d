#include <mach-o/dyld.h>

#include <string>

#include "quernlight/platform/program_location.hpp"

namespace quernlight {

std::filesystem::path programLocation() {
    std::uint32_t size = 0;
    _NSGetExecutablePath(nullptr, &size);
    std::string path(size, '\0');
    _NSGetExecutablePath(path.data(), &size);
    return std::filesystem::canonical(path.c_str());
}

}  // namespace quernlight
