#include "host/process/unclaimed_children.hpp"

namespace quernlight::host {

std::vector<ProcessEntry> UnclaimedChildren::due(const std::vector<ProcessEntry>& table, pid_t self,
                                                 const Claim& isClaimed, TimePoint now) {
    std::map<Key, TimePoint> seen;
    std::set<Key> stillTold;
    std::vector<ProcessEntry> found;
    for (const ProcessEntry& process : table) {
        if (process.parent != self || process.isZombie || isClaimed(process)) {
            continue;
        }
        const Key key(process.pid, process.startTime);
        const auto known = seenSince_.find(key);
        const TimePoint since = known == seenSince_.end() ? now : known->second;
        seen.emplace(key, since);
        if (now - since >= timeout && !told_.contains(key)) {
            found.push_back(process);
        }
        if (now - since >= timeout) {
            stillTold.insert(key);
        }
    }
    seenSince_ = std::move(seen);
    told_ = std::move(stillTold);
    return found;
}

}  // namespace quernlight::host
