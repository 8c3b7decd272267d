#include "quernlight/storage/file_locations.hpp"

#include <cinttypes>
#include <cstdio>
#include <utility>

#include "quernlight/platform/file_manager.hpp"
#include "quernlight/platform/identifiers.hpp"

namespace quernlight {
namespace fs = std::filesystem;
namespace {

fs::path created(const fs::path& directory) {
    defaultFileManager().createDirectories(directory);
    return directory;
}

/// At least three digits: 001, 012, 1234.
std::string attemptDirectoryName(std::int64_t attemptNumber) {
    char name[32];
    std::snprintf(name, sizeof name, "%03" PRId64, attemptNumber);
    return name;
}

}  // namespace

UnsafeBugIDError::UnsafeBugIDError(std::string bugID)
    : std::runtime_error(
          "A bug id that is empty, \".\" or \"..\", or that holds a \"/\" or a control character, cannot name "
          "a directory."),
      bugID_(std::move(bugID)) {}

fs::path FileLocations::dispatchHome(const EnvironmentMap& environment) {
    return created(dispatchHomePath(environment));
}

fs::path FileLocations::dispatchHomePath(const EnvironmentMap& environment) {
    const auto found = environment.find("QUERNLIGHT_DISPATCH_HOME");
    if (found != environment.end() && !found->second.empty()) {
        return fs::absolute(found->second);
    }
    return userApplicationDataDirectory(environment) / "QuernlightDispatch";
}

fs::path FileLocations::databaseURL(const fs::path& home) {
    return home / "queue.sqlite";
}

fs::path FileLocations::sessionAttemptDirectory(const fs::path& home, const Uuid& queueItemID,
                                                std::int64_t attemptNumber) {
    return created(home / "sessions" / upperCaseText(queueItemID) / "attempts" /
                   attemptDirectoryName(attemptNumber));
}

fs::path FileLocations::resumeSessionAttemptDirectory(const fs::path& home, std::string_view bugID,
                                                      std::int64_t attemptNumber) {
    const std::string shortID = BugID::normalized(bugID);
    if (!BugID::isSafeFileName(shortID)) {
        throw UnsafeBugIDError(shortID);
    }
    return created(home / "sessions" / "resume" / shortID / "attempts" / attemptDirectoryName(attemptNumber));
}

}  // namespace quernlight
