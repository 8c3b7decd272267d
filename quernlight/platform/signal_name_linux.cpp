#include <cstring>

#include "quernlight/platform/signal_name.hpp"

namespace quernlight {

std::string signalName(int signal) {
    const char* name = sigabbrev_np(signal);
    return name ? std::string("SIG") + name : "signal " + std::to_string(signal);
}

}  // namespace quernlight
