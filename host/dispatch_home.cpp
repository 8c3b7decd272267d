#include "host/dispatch_home.hpp"

#include "host/user_error.hpp"
#include "quernlight/platform/user_directories.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {
namespace {

EnvironmentMap environmentWithHome(const std::optional<std::filesystem::path>& chosen) {
    EnvironmentMap environment = currentEnvironmentMap();
    if (chosen) {
        environment["QUERNLIGHT_DISPATCH_HOME"] = std::filesystem::absolute(*chosen).string();
    }
    return environment;
}

}  // namespace

std::filesystem::path openDispatchHome(const std::optional<std::filesystem::path>& chosen) {
    try {
        return FileLocations::dispatchHome(environmentWithHome(chosen));
    } catch (const std::filesystem::filesystem_error& error) {
        throw UserError("The dispatch home " + error.path1().string() + " cannot be created (" +
                        error.code().message() + "); choose another with --home.");
    }
}

std::filesystem::path locateDispatchHome(const std::optional<std::filesystem::path>& chosen) {
    return FileLocations::dispatchHomePath(environmentWithHome(chosen));
}

}  // namespace quernlight::host
