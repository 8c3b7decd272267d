#include "quernlight/platform/user_directories.hpp"

namespace quernlight {

std::filesystem::path userApplicationDataDirectory(const EnvironmentMap& environment) {
    const auto data = environment.find("XDG_DATA_HOME");
    if (data != environment.end() && data->second.starts_with('/')) {
        return data->second;
    }
    return userHomeDirectory(environment) / ".local" / "share";
}

}  // namespace quernlight
