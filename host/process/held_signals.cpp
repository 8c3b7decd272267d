#include "host/process/held_signals.hpp"

#include <initializer_list>

namespace quernlight::host {
namespace {

sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    return signals;
}

}  // namespace

HeldSignals::HeldSignals() {
    const sigset_t signals = endingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
}

HeldSignals::~HeldSignals() {
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

ReleasedSignals::ReleasedSignals() {
    const sigset_t signals = endingSignals();
    pthread_sigmask(SIG_UNBLOCK, &signals, &before_);
}

ReleasedSignals::~ReleasedSignals() {
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

}  // namespace quernlight::host
