#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight {

/// A bug id that must not become part of a path, because it would name another place or none.
class UnsafeBugIDError : public std::runtime_error {
  public:
    explicit UnsafeBugIDError(std::string bugID);

    /// The normalised id that was refused.
    const std::string& bugID() const { return bugID_; }

  private:
    std::string bugID_;
};

/// Where the dispatch data lives on disk. A function that returns a directory has created it, with missing
/// parents; it throws std::filesystem::filesystem_error when that fails. Blocks; may be called on any thread.
struct FileLocations {
    FileLocations() = delete;

    /// "QUERNLIGHT_DISPATCH_HOME" as it stands (a relative one from the current directory), otherwise
    /// "QuernlightDispatch" in the user's application data.
    static std::filesystem::path dispatchHome(const EnvironmentMap& environment);

    /// The same place, without creating it. Throws std::filesystem::filesystem_error for a relative one when
    /// the current directory is gone.
    static std::filesystem::path dispatchHomePath(const EnvironmentMap& environment);

    /// The database file; creates nothing.
    static std::filesystem::path databaseURL(const std::filesystem::path& home);

    /// sessions/<ID in upper case>/attempts/<number> under the home, for the files of one attempt at a queue
    /// item. Attempts count from 1; their numbers have at least three digits (001, 012, 1234).
    static std::filesystem::path sessionAttemptDirectory(const std::filesystem::path& home,
                                                         const Uuid& queueItemID, std::int64_t attemptNumber);

    /// sessions/resume/<short bug id>/attempts/<number> under the home, for the files of one attempt to
    /// resume a bug outside the queue. `bugID` in any written form; throws UnsafeBugIDError when its short
    /// form cannot name a directory.
    static std::filesystem::path resumeSessionAttemptDirectory(const std::filesystem::path& home,
                                                               std::string_view bugID,
                                                               std::int64_t attemptNumber);
};

}  // namespace quernlight
