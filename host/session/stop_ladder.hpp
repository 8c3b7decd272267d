#pragma once

#include <array>
#include <chrono>
#include <optional>

#include "host/settings/settings.hpp"
#include "quernlight/runner/termination_mode.hpp"

namespace quernlight::host {

/// One rung of the way to stop an agent: what is done, and how long its exit is then awaited.
struct StopRung {
    std::optional<TerminationMode> mode{};  ///< absent: a lone Enter
    std::chrono::milliseconds patience{};

    bool operator==(const StopRung&) const = default;
};

/// From polite to final: "/exit", Enter, interrupt, terminate, kill. The lone Enter is for agents that take a
/// burst of keys for pasted text, in which "/exit" and its Enter are a line of text and not yet a command.
using StopLadder = std::array<StopRung, 5>;

StopLadder stopLadder(const Settings& settings);

/// The same rungs with their patience cut in proportion, so that all together wait no longer than `total`.
StopLadder shrunk(StopLadder ladder, std::chrono::milliseconds total);

/// No patience but with the kill.
StopLadder onlyKill(StopLadder ladder);

/// What all rungs wait together while the program is ending: with the rest of an end it stays below 20 s.
inline constexpr std::chrono::seconds ladderTimeAtShutdown{12};

}  // namespace quernlight::host
