#include "quernlight/platform/spawn_session.hpp"

#include <cctype>
#include <csignal>

#include "quernlight/platform/spawn.hpp"

// Exported by the system library without a public declaration: the child answers for itself in privacy
// prompts.
extern "C" int responsibility_spawnattrs_setdisclaim(posix_spawnattr_t* attributes, int disclaim);

namespace quernlight {

int prepareSession(posix_spawnattr_t& attributes, posix_spawn_file_actions_t&) {
    const auto flags = static_cast<short>(POSIX_SPAWN_SETSID | POSIX_SPAWN_CLOEXEC_DEFAULT |
                                          POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    if (const int error = posix_spawnattr_setflags(&attributes, flags)) {
        return error;
    }
    return responsibility_spawnattrs_setdisclaim(&attributes, 1);
}

int addChangeDirectory(posix_spawn_file_actions_t& actions, const char* path) {
#if defined(__MAC_26_0)
    if (__builtin_available(macOS 26.0, *)) {
        return posix_spawn_file_actions_addchdir(&actions, path);
    }
#endif
    return posix_spawn_file_actions_addchdir_np(&actions, path);
}

std::string signalName(int signal) {
    if (signal <= 0 || signal >= NSIG) {
        return "signal " + std::to_string(signal);
    }
    std::string name = "SIG";
    for (const char* letter = sys_signame[signal]; *letter; ++letter) {
        name += static_cast<char>(std::toupper(static_cast<unsigned char>(*letter)));
    }
    return name;
}

}  // namespace quernlight
