#include "quernlight/platform/peer_user.hpp"

#include <sys/socket.h>

namespace quernlight {
namespace {

std::optional<struct ucred> peerOf(int connectedSocket) {
    struct ucred peer {};
    socklen_t size = sizeof peer;
    const bool isKnown = getsockopt(connectedSocket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0;
    return isKnown ? std::optional(peer) : std::nullopt;
}

}  // namespace

std::optional<uid_t> peerUser(int connectedSocket) {
    const auto peer = peerOf(connectedSocket);
    return peer ? std::optional(peer->uid) : std::nullopt;
}

/// One outside of this process's namespace has no pid here.
std::optional<pid_t> peerProcess(int connectedSocket) {
    const auto peer = peerOf(connectedSocket);
    return peer && peer->pid > 0 ? std::optional(peer->pid) : std::nullopt;
}

}  // namespace quernlight
