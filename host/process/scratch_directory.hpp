#pragma once

#include <filesystem>

namespace quernlight::host {

/// A directory of its own for files that are wanted for a moment, removed with all that it holds.
class ScratchDirectory {
  public:
    /// Throws UserError when it cannot be made.
    ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory();

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

}  // namespace quernlight::host
