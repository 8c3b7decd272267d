#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

#include "tests/support/temporary_directory.hpp"

namespace quernlight::test {

/// A session bus and a real keyring on it, in a directory that goes with the test; the user's own are out of
/// reach of what gets this environment.
class SessionKeyring {
  public:
    SessionKeyring() = default;
    SessionKeyring(const SessionKeyring&) = delete;
    SessionKeyring& operator=(const SessionKeyring&) = delete;
    ~SessionKeyring();

    /// A bus that starts nothing by itself.
    void startBus();

    /// The keyring's service; with a password it makes its default collection, unlocked. It takes calls a
    /// moment later.
    void startService();
    void startService(const std::string& password);
    void stopService();

    pid_t spawn(const std::string& program, const std::vector<std::string>& arguments,
                const std::string& input, const std::filesystem::path& outputFile);

    std::string busAddress() const { return "unix:path=" + (directory / "bus").string(); }

    TemporaryDirectory directory;
    std::vector<std::string> environment{
        "PATH=/usr/bin:/bin", "LANG=C.UTF-8", "HOME=" + directory.path().string(),
        "XDG_RUNTIME_DIR=" + directory.path().string(), "XDG_DATA_HOME=" + (directory / "data").string()};

  private:
    std::vector<pid_t> daemons_;
    int spawned_ = 0;
};

}  // namespace quernlight::test
