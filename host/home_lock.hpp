#pragma once

#include <filesystem>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::host {

/// Makes this process the one owner of a dispatch home for as long as the object lives. The lock is the
/// kernel's (flock(2) on "owner.lock"), so it ends with the process however that ends, and no child inherits
/// it.
class HomeLock {
  public:
    /// Throws UserError, naming the owner and since when, when another process holds the home, or when the
    /// file cannot be written.
    explicit HomeLock(const std::filesystem::path& home);

  private:
    FileDescriptor file_;
};

}  // namespace quernlight::host
