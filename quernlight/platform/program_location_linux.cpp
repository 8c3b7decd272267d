#include "quernlight/platform/program_location.hpp"

namespace quernlight {

// proc(5): a link to the executed file.
std::filesystem::path programLocation() {
    return std::filesystem::canonical("/proc/self/exe");
}

}  // namespace quernlight
