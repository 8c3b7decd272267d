#pragma once

#include <array>
#include <chrono>

#include "host/process/stop_request.hpp"
#include "host/settings/settings.hpp"

namespace quernlight::host {

enum class StopAction {
    typeExit,    ///< "/exit", and Enter once the composer shows it
    pressEnter,  ///< again, while "/exit" still stands there
    interrupt,   ///< SIGINT; the others likewise
    terminate,
    kill,
};

/// One step of the way to stop an agent: what is done, and how long its exit is then awaited.
struct StopStep {
    StopAction action{};
    std::chrono::milliseconds timeout{};

    bool operator==(const StopStep&) const = default;
};

/// From polite to final. What is typed is typed only where the screen says that it will be taken as it is
/// meant; a step that does not apply is left out and awaits nothing.
using StopEscalation = std::array<StopStep, 5>;

StopEscalation stopEscalation(const Settings& settings);

/// The same steps with their timeout cut, so that all together wait no longer than `total`: the first one,
/// which an agent on a busy machine takes its time for, keeps as much of it as five twelfths, and the others
/// are cut in proportion.
StopEscalation shortened(StopEscalation escalation, std::chrono::milliseconds total);

/// No timeout but with the kill.
StopEscalation killOnly(StopEscalation escalation);

/// The steps while the wish to stop the program stands at `level`.
StopEscalation escalationAt(StopLevel level, const Settings& settings);

/// What all steps wait together while the program is ending: with the rest of an end it stays below 20 s.
inline constexpr std::chrono::seconds escalationTimeAtShutdown{12};

}  // namespace quernlight::host
