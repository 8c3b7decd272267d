#include "host/process/dispatch_home.hpp"

#include "host/process/private_files.hpp"
#include "host/process/user_error.hpp"
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

/// A home that may not be looked into, or that is a file, is not one that is absent.
bool holdsQueue(const std::filesystem::path& home) {
    std::error_code error;
    const auto queue = std::filesystem::status(FileLocations::databaseURL(home), error);
    if (error && error != std::errc::no_such_file_or_directory) {
        throw UserError("The dispatch home " + home.string() + " cannot be read (" + error.message() +
                        "); choose another with --home or check its permissions.");
    }
    return std::filesystem::exists(queue);
}

}  // namespace

std::filesystem::path openDispatchHome(const std::optional<std::filesystem::path>& chosen) {
    try {
        const auto home = FileLocations::dispatchHome(environmentWithHome(chosen));
        protectHome(home);
        return home;
    } catch (const std::filesystem::filesystem_error& error) {
        throw UserError("The dispatch home " + error.path1().string() + " cannot be created (" +
                        error.code().message() + "); choose another with --home.");
    }
}

std::filesystem::path findDispatchHome(const std::optional<std::filesystem::path>& chosen) {
    const auto home = locateDispatchHome(chosen);
    if (!holdsQueue(home)) {
        throw UserError("There is no dispatch home at " + home.string() +
                        " yet. Map an app to make it (quernlight-dispatch map set --help), or name another "
                        "with --home.");
    }
    return home;
}

std::filesystem::path locateDispatchHome(const std::optional<std::filesystem::path>& chosen) {
    auto home = FileLocations::dispatchHomePath(environmentWithHome(chosen));
    holdsQueue(home);
    return home;
}

}  // namespace quernlight::host
