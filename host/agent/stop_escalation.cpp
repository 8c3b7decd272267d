#include "host/agent/stop_escalation.hpp"

#include <algorithm>
#include <cstdint>
#include <span>

namespace quernlight::host {
namespace {

std::chrono::milliseconds timeout(double seconds) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
}

}  // namespace

StopEscalation stopEscalation(const Settings& settings) {
    return {{
        {StopAction::typeExit, timeout(settings.stopExitSeconds)},
        {StopAction::pressEnter, timeout(settings.stopEnterSeconds)},
        {StopAction::interrupt, timeout(settings.stopInterruptSeconds)},
        {StopAction::terminate, timeout(settings.stopTerminateSeconds)},
        {StopAction::kill, timeout(settings.stopKillSeconds)},
    }};
}

StopEscalation shortened(StopEscalation escalation, std::chrono::milliseconds total) {
    std::chrono::milliseconds sum{0};
    for (const StopStep& step : escalation) {
        sum += step.timeout;
    }
    if (sum <= total) {
        return escalation;
    }
    std::chrono::milliseconds& polite = escalation.front().timeout;
    sum -= polite;
    polite = std::min(polite, std::max(total * 5 / 12, total - sum));
    for (StopStep& step : std::span(escalation).subspan(1)) {
        step.timeout = step.timeout * (total - polite).count() / std::max<std::int64_t>(sum.count(), 1);
    }
    return escalation;
}

StopEscalation killOnly(StopEscalation escalation) {
    for (StopStep& step : escalation) {
        step.timeout = step.action == StopAction::kill ? step.timeout : std::chrono::milliseconds(0);
    }
    return escalation;
}

StopEscalation escalationAt(StopLevel level, const Settings& settings) {
    const StopEscalation whole = stopEscalation(settings);
    if (level == StopLevel::kill) {
        return killOnly(whole);
    }
    return level == StopLevel::stop ? shortened(whole, escalationTimeAtShutdown) : whole;
}

}  // namespace quernlight::host
