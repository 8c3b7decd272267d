#include "quernlight/platform/user_directories.hpp"

#include <pwd.h>
#include <unistd.h>

#include <vector>

#include "quernlight/platform/spawn.hpp"

namespace quernlight {
namespace {

std::filesystem::path homeOfUserDatabase() {
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found) {
        return "/";
    }
    return entry.pw_dir;
}

std::string expandTilde(const std::string& path) {
    if (path == "~" || path.starts_with("~/")) {
        return userHomeDirectory(currentEnvironmentMap()).string() + path.substr(1);
    }
    return path;
}

}  // namespace

EnvironmentMap currentEnvironmentMap() {
    EnvironmentMap variables;
    for (const std::string& entry : currentEnvironment()) {
        const auto separator = entry.find('=');
        if (separator != std::string::npos) {
            variables.emplace(entry.substr(0, separator), entry.substr(separator + 1));
        }
    }
    return variables;
}

std::filesystem::path userHomeDirectory(const EnvironmentMap& environment) {
    const auto home = environment.find("HOME");
    return home != environment.end() && !home->second.empty() ? std::filesystem::path(home->second)
                                                              : homeOfUserDatabase();
}

std::string standardizedPath(const std::string& path) {
    std::filesystem::path absolute = expandTilde(path);
    if (absolute.is_relative()) {
        absolute = std::filesystem::current_path() / absolute;
    }
    std::string text = absolute.lexically_normal().string();
    while (text.size() > 1 && text.back() == '/') {
        text.pop_back();
    }
    return text.starts_with("//") ? text.substr(1) : text;
}

}  // namespace quernlight
