#include "quernlight/platform/peer_user.hpp"

#include <sys/socket.h>

namespace quernlight {

std::optional<uid_t> peerUser(int connectedSocket) {
    struct ucred peer {};
    socklen_t size = sizeof peer;
    const bool isKnown = getsockopt(connectedSocket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0;
    return isKnown ? std::optional(peer.uid) : std::nullopt;
}

}  // namespace quernlight
