#include "tests/agents/told_to_end.hpp"

#include <csignal>
#include <ctime>

namespace quernlight::test {
namespace {

/// One Ctrl-C may come twice, from the terminal and from whatever has started this process.
constexpr std::time_t sameWish = 2;  // in seconds

volatile std::sig_atomic_t told = 0;
volatile std::time_t toldAt = 0;

void tell(int signal) {
    const std::time_t now = std::time(nullptr);
    if (told == 0) {
        told = signal;
        toldAt = now;
    } else if (now - toldAt >= sameWish) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
}

}  // namespace

void heedSignals() {
    struct sigaction action {};
    action.sa_handler = tell;
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(signal, &action, nullptr);
    }
}

int signalToEnd() {
    return told;
}

}  // namespace quernlight::test
