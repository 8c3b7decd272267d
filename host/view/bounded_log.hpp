#pragma once

#include <cstdint>
#include <filesystem>

namespace quernlight::host {

/// Keeps a log that others have opened for this program, as a service manager does, from growing without end:
/// what stands in it goes into one older file beside it, FILE.1, and it begins anew. It stays the same file,
/// so that all who append to it go on. Used on one thread.
class BoundedLog {
  public:
    static constexpr std::uintmax_t usualBound = std::uintmax_t{8} << 20U;

    explicit BoundedLog(std::filesystem::path file, std::uintmax_t most = usualBound)
        : file_(std::move(file)), most_(most), nextAt_(most) {}

    /// To be called when something was written there. Does nothing unless the descriptor is that file, opened
    /// to append, and it is larger than the bound. What cannot be kept (a full disk) stays, and is tried
    /// again once the log is larger by an eighth.
    void look(int descriptor);

  private:
    bool moveToOlder(std::uintmax_t size) const;

    std::filesystem::path file_;
    std::uintmax_t most_, nextAt_;
};

}  // namespace quernlight::host
