#include "host/session/stop_ladder.hpp"

namespace quernlight::host {
namespace {

std::chrono::milliseconds patience(double seconds) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
}

}  // namespace

StopLadder stopLadder(const Settings& settings) {
    return {{
        {TerminationMode::requestExitCommand, patience(settings.stopExitSeconds)},
        {std::nullopt, patience(settings.stopEnterSeconds)},
        {TerminationMode::interrupt, patience(settings.stopInterruptSeconds)},
        {TerminationMode::terminate, patience(settings.stopTerminateSeconds)},
        {TerminationMode::kill, patience(settings.stopKillSeconds)},
    }};
}

StopLadder shrunk(StopLadder ladder, std::chrono::milliseconds total) {
    std::chrono::milliseconds sum{0};
    for (const StopRung& rung : ladder) {
        sum += rung.patience;
    }
    if (sum > total) {
        for (StopRung& rung : ladder) {
            rung.patience = rung.patience * total.count() / sum.count();
        }
    }
    return ladder;
}

StopLadder onlyKill(StopLadder ladder) {
    for (StopRung& rung : ladder) {
        rung.patience = rung.mode == TerminationMode::kill ? rung.patience : std::chrono::milliseconds(0);
    }
    return ladder;
}

}  // namespace quernlight::host
