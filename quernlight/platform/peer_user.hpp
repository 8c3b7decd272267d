#pragma once

#include <optional>

#include <sys/types.h>

namespace quernlight {

/// The user as whom the process at the other end of a connected Unix socket ran when it connected; nothing
/// when the system does not say.
std::optional<uid_t> peerUser(int connectedSocket);

/// That process, which may have ended since; nothing when the system does not say.
std::optional<pid_t> peerProcess(int connectedSocket);

}  // namespace quernlight
