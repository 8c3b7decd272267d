#include "host/disk_health.hpp"

namespace quernlight::host {

void DiskHealth::failed(const std::string& who, const std::string& what, const std::exception& error) {
    const bool wasWell = troubles_.empty();
    troubles_[who] = "The " + what + " cannot be read or written at the moment (" + error.what() +
                     "); sessions go on, and it is tried again. Free some disk space if the disk is full.";
    if (wasWell) {
        listener_(troubles_[who]);
    }
}

void DiskHealth::succeeded(const std::string& who) {
    const bool hadTrouble = troubles_.erase(who) > 0;
    if (hadTrouble && troubles_.empty()) {
        listener_("");
    }
}

}  // namespace quernlight::host
