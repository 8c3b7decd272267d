#pragma once

#include <filesystem>
#include <utility>

#include <unistd.h>

namespace quernlight::test {

/// A directory that this process may not look into until the end of the scope. Where the tests run as root,
/// whom permissions do not bind, they act as nobody meanwhile.
class ClosedDirectory {
  public:
    explicit ClosedDirectory(std::filesystem::path directory)
        : directory_(std::move(directory)), before_(std::filesystem::status(directory_).permissions()) {
        std::filesystem::permissions(directory_, std::filesystem::perms::none);
        if (isRoot_) {
            isClosed_ = seteuid(nobody) == 0;
        }
    }
    ClosedDirectory(const ClosedDirectory&) = delete;
    ClosedDirectory& operator=(const ClosedDirectory&) = delete;
    ~ClosedDirectory() {
        isClosed_ = !(isRoot_ && seteuid(0) == 0);
        std::error_code ignored;
        std::filesystem::permissions(directory_, before_, ignored);
    }

    bool isClosed() const { return isClosed_; }

  private:
    static constexpr uid_t nobody = 65534;

    const bool isRoot_ = geteuid() == 0;
    bool isClosed_ = true;
    std::filesystem::path directory_;
    std::filesystem::perms before_;
};

}  // namespace quernlight::test
