#include "quernlight/platform/user_directories.hpp"

namespace quernlight {

std::filesystem::path userApplicationDataDirectory(const EnvironmentMap& environment) {
    return userHomeDirectory(environment) / "Library" / "Application Support";
}

}  // namespace quernlight
