#include "host/control/control_peer.hpp"

#include <unistd.h>

#include "host/process/process_tree.hpp"
#include "quernlight/platform/peer_user.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t longestLine = 64;

PeerProcess seen(const ProcessEntry& entry) {
    return {.entry = entry, .mark = sessionMarkOf(entry.pid), .isStartedHere = isStartedHere(entry)};
}

std::vector<PeerProcess> lineTo(pid_t owner, pid_t peer) {
    std::vector<PeerProcess> line;
    for (pid_t next = peer; next > 0 && line.size() < longestLine;) {
        const ProcessEntry entry = processEntry(next);
        if (entry.pid < 0) {
            break;
        }
        line.push_back(seen(entry));
        next = entry.pid == owner ? 0 : entry.parent;
    }
    return line;
}

/// Of those whose environments say so the one next to the owner: what it has started may say anything.
std::optional<std::string> markIn(const std::vector<PeerProcess>& line, const std::string& ownersMark) {
    std::optional<std::string> mark;
    for (const PeerProcess& process : line) {
        if (!process.mark.empty() && process.mark != ownersMark) {
            mark = process.mark;
        }
    }
    return mark;
}

}  // namespace

ControlPeer judgePeer(const std::vector<PeerProcess>& line, const PeerProcess& owner) {
    if (line.empty()) {
        return {};
    }
    if (const auto mark = markIn(line, owner.mark)) {
        return {.session = parseUuid(*mark)};
    }
    const bool descends = line.back().entry.pid == owner.entry.pid && line.size() > 1;
    // What the owner itself has started without a mark is a git or a notification's command.
    return {.isPerson = !descends || line[line.size() - 2].isStartedHere};
}

ControlPeer peerOf(int connectedSocket) {
    const auto peer = peerProcess(connectedSocket);
    if (!peer) {
        return {};
    }
    return judgePeer(lineTo(getpid(), *peer), seen(processEntry(getpid())));
}

}  // namespace quernlight::host
