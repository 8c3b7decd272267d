#include "host/disk_health.hpp"

namespace quernlight::host {

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
    listener_("");
}

void DiskHealth::fail(const std::string& what, const std::exception& error) {
    if (isWell_) {
        isWell_ = false;
        listener_("The " + what + " cannot be read or written at the moment (" + error.what() +
                  "); sessions go on, and it is tried again. Free some disk space if the disk is full.");
    }
}

}  // namespace quernlight::host
