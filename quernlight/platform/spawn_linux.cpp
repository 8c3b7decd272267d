#include "quernlight/platform/spawn_session.hpp"

#include <cstring>

#include "quernlight/platform/spawn.hpp"

namespace quernlight {

int prepareSession(posix_spawnattr_t& attributes, posix_spawn_file_actions_t& actions) {
    const auto flags =
        static_cast<short>(POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    if (const int error = posix_spawnattr_setflags(&attributes, flags)) {
        return error;
    }
    return posix_spawn_file_actions_addclosefrom_np(&actions, 3);
}

int addChangeDirectory(posix_spawn_file_actions_t& actions, const char* path) {
    return posix_spawn_file_actions_addchdir_np(&actions, path);
}

std::string signalName(int signal) {
    const char* name = sigabbrev_np(signal);
    return name ? std::string("SIG") + name : "signal " + std::to_string(signal);
}

}  // namespace quernlight
