#include "quernlight/platform/peer_user.hpp"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace quernlight {

std::optional<uid_t> peerUser(int connectedSocket) {
    uid_t user = 0;
    gid_t group = 0;
    return getpeereid(connectedSocket, &user, &group) == 0 ? std::optional(user) : std::nullopt;
}

std::optional<pid_t> peerProcess(int connectedSocket) {
    pid_t pid = 0;
    socklen_t size = sizeof pid;
    const bool isKnown = getsockopt(connectedSocket, SOL_LOCAL, LOCAL_PEERPID, &pid, &size) == 0;
    return isKnown && pid > 0 ? std::optional(pid) : std::nullopt;
}

}  // namespace quernlight
