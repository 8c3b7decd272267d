#include "host/commands/path_option.hpp"

#include <pwd.h>

#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {
namespace {

/// Empty when there is no such user.
std::string homeOf(const std::string& user) {
    if (user.empty()) {
        return userHomeDirectory(currentEnvironmentMap()).string();
    }
    const struct passwd* entry = getpwnam(user.c_str());
    return entry && entry->pw_dir ? entry->pw_dir : "";
}

}  // namespace

std::string withUserHome(std::string path) {
    if (!path.starts_with('~')) {
        return path;
    }
    const std::size_t end = std::min(path.find('/'), path.size());
    const std::string home = homeOf(path.substr(1, end - 1));
    return home.empty() ? path : home + path.substr(end);
}

std::string givenPath(const std::string& path) {
    if (path.empty()) {
        throw CLI::ValidationError("the path is empty");
    }
    return withUserHome(path);
}

}  // namespace quernlight::host
