#include "host/health/disk_health.hpp"

#include <algorithm>

namespace quernlight::host {

using std::chrono::seconds;

void DiskHealth::failed(const DatabaseError& error) {
    fail("queue", error);
}

void DiskHealth::failed(const std::filesystem::filesystem_error& error) {
    if (!error.path1().empty()) {
        unwritten_.insert(error.path1());
    }
    fail("dispatch home", error);
}

void DiskHealth::recovered() {
    unwritten_.clear();
    isWell_ = true;
    recoveredAt_ = clock_.steadyNow();
    listener_("");
}

void DiskHealth::fail(const std::string& what, const std::exception& error) {
    constexpr seconds soon{60};
    constexpr seconds longest{300};
    if (!isWell_) {
        return;
    }
    const auto now = clock_.steadyNow();
    const bool isBack = recoveredAt_ && now - *recoveredAt_ < soon + timeout_;
    timeout_ = isBack ? std::min(longest, std::max(seconds(1), timeout_ * 2)) : seconds(0);
    nextTrial_ = now + timeout_;
    isWell_ = false;
    listener_("The " + what + " cannot be read or written at the moment (" + error.what() +
              "); sessions go on, and it is tried again. Free some disk space if the disk is full.");
}

}  // namespace quernlight::host
