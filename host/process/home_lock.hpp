#pragma once

#include <chrono>
#include <filesystem>

#include "host/process/user_error.hpp"
#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::host {

/// Another process owns the home.
class HomeOwnedError : public UserError {
  public:
    using UserError::UserError;
};

/// Makes this process the one owner of a dispatch home for as long as the object lives. The lock is the
/// kernel's (flock(2) on "owner.lock"), so it ends with the process however that ends, and no child inherits
/// it.
class HomeLock {
  public:
    /// Throws HomeOwnedError, naming the owner and since when, when another process holds the home for longer
    /// than `timeout` (blocks), and UserError when the file cannot be written.
    explicit HomeLock(const std::filesystem::path& home,
                      std::chrono::milliseconds timeout = std::chrono::milliseconds(0));

    /// Whether the home is still the one that was locked: false once it was removed, moved or replaced, for
    /// then another process may own what is there now.
    bool isInPlace() const;

  private:
    std::filesystem::path path_;
    FileDescriptor file_;
};

/// That the home cannot be written, for the reason that errno gives.
UserError unwritableHome(const std::filesystem::path& home, int error);

}  // namespace quernlight::host
