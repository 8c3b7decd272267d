#include "host/process/orphan_reaper.hpp"

#include <unistd.h>

namespace quernlight::host {

std::vector<pid_t> OrphanReaper::due(const std::vector<ProcessEntry>& table, pid_t self, TimePoint now) {
    std::map<std::pair<pid_t, std::string>, TimePoint> seen;
    std::vector<pid_t> pids;
    for (const ProcessEntry& process : table) {
        if (!process.isZombie || process.parent != self) {
            continue;
        }
        const auto key = std::pair(process.pid, process.startTime);
        const auto known = seenSince_.find(key);
        const TimePoint since = known == seenSince_.end() ? now : known->second;
        seen.emplace(key, since);
        if (now - since >= timeout) {
            pids.push_back(process.pid);
        }
    }
    seenSince_ = std::move(seen);
    return pids;
}

void OrphanReaper::sweep() {
    for (const pid_t pid : due(processTable(), getpid(), std::chrono::steady_clock::now())) {
        reapChild(pid);
    }
}

}  // namespace quernlight::host
