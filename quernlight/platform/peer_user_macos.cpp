#include "quernlight/platform/peer_user.hpp"

#include <unistd.h>

namespace quernlight {

std::optional<uid_t> peerUser(int connectedSocket) {
    uid_t user = 0;
    gid_t group = 0;
    return getpeereid(connectedSocket, &user, &group) == 0 ? std::optional(user) : std::nullopt;
}

}  // namespace quernlight
