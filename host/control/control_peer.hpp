#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/process_table.hpp"

namespace quernlight::host {

/// Who asks: a person's process, or one of an agent's, which must not see other sessions or steer the owner.
struct ControlPeer {
    bool isPerson = false;
    std::optional<Uuid> session{};  ///< of an agent's process, where that can be told

    bool operator==(const ControlPeer&) const = default;
};

/// A process between a peer and the owner, as far as it matters whose it is.
struct PeerProcess {
    ProcessEntry entry{};
    std::string mark{};          ///< the session that its environment names
    bool isStartedHere = false;  ///< by this program, see isStartedHere
    bool isOlder = false;        ///< than any agent of this program, see isOlderThanAgents
};

/// Shows the process of that pid as it is now; the pid of its entry is -1 when it cannot be seen.
using ProcessLook = std::function<PeerProcess(pid_t)>;

/// The peer, its parent, and so on, up to `owner`, to the first process, or to one whose parent the system
/// does not show. Empty when the peer is gone, and when its ancestors cannot all be told: they are too many,
/// or change whenever one looks.
std::vector<PeerProcess> lineTo(pid_t owner, pid_t peer, const ProcessLook& look);

/// Whose the peer is, by its line (see lineTo). An agent's is what carries another session's mark than the
/// owner itself, what descends from such a process, and what descends from an orphan that came to the owner,
/// unless that is older than any agent. A peer whose line is not known is no person's. Pure.
ControlPeer judgePeer(const std::vector<PeerProcess>& line, const PeerProcess& owner);

/// The peer at the other end of a connected socket, of an owner that is this process.
ControlPeer peerOf(int connectedSocket);

}  // namespace quernlight::host
