#include "host/process/stop_signals.hpp"

#include <csignal>

namespace quernlight::host {

bool StopSignals::isRepetition(int signal, TimePoint now) const {
    constexpr std::chrono::seconds oneWish{1};
    if (signal == SIGINT) {
        return false;
    }
    const bool followsAtOnce = lastUnkeyed_ && now - *lastUnkeyed_ < oneWish;
    return followsAtOnce || (signal == SIGHUP && hungUp_);
}

std::optional<int> StopSignals::take(int signal, TimePoint now) {
    const bool repeats = isRepetition(signal, now);
    hungUp_ = hungUp_ || signal == SIGHUP;
    if (repeats) {
        return std::nullopt;
    }
    if (signal != SIGINT) {
        lastUnkeyed_ = now;
    }
    first_ = count_ == 0 ? signal : first_;
    return ++count_;
}

int StopSignals::exitStatus() const {
    constexpr int interrupted = 130;
    return count_ == 0 || first_ == SIGTERM ? 0 : interrupted;
}

StopLevel stopLevel(int wishes) {
    return wishes > 1 ? StopLevel::kill : wishes == 1 ? StopLevel::stop : StopLevel::none;
}

std::string_view stopSentence(StopLevel level) {
    switch (level) {
        case StopLevel::none:
            return {};
        case StopLevel::stop:
            return "Stopping sessions; Ctrl-C or SIGTERM once more kills them.";
        case StopLevel::kill:
            return "Killing the sessions.";
    }
    return {};
}

}  // namespace quernlight::host
