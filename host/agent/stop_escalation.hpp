#pragma once

#include <array>
#include <chrono>
#include <optional>

#include "host/process/stop_request.hpp"
#include "host/settings/settings.hpp"
#include "quernlight/runner/termination_mode.hpp"

namespace quernlight::host {

/// One step of the way to stop an agent: what is done, and how long its exit is then awaited.
struct StopStep {
    std::optional<TerminationMode> mode{};  ///< absent: a lone Enter
    std::chrono::milliseconds timeout{};

    bool operator==(const StopStep&) const = default;
};

/// From polite to final: "/exit", Enter, interrupt, terminate, kill. The lone Enter is for agents that take a
/// burst of keys for pasted text, in which "/exit" and its Enter are a line of text and not yet a command.
using StopEscalation = std::array<StopStep, 5>;

StopEscalation stopEscalation(const Settings& settings);

/// The same steps with their timeout cut in proportion, so that all together wait no longer than `total`.
StopEscalation shortened(StopEscalation escalation, std::chrono::milliseconds total);

/// No timeout but with the kill.
StopEscalation killOnly(StopEscalation escalation);

/// The steps while the wish to stop the program stands at `level`.
StopEscalation escalationAt(StopLevel level, const Settings& settings);

/// What all steps wait together while the program is ending: with the rest of an end it stays below 20 s.
inline constexpr std::chrono::seconds escalationTimeAtShutdown{12};

}  // namespace quernlight::host
