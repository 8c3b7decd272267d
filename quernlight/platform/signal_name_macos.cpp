#include <cctype>
#include <csignal>

#include "quernlight/platform/signal_name.hpp"

namespace quernlight {

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
