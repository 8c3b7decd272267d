#pragma once

#include <array>
#include <chrono>
#include <optional>
#include <string_view>

#include "quernlight/runner/termination_mode.hpp"

namespace quernlight::host {

/// One rung of the way to stop an agent: what is done, and how long its exit is then awaited.
struct StopRung {
    std::optional<TerminationMode> mode;  ///< absent: a lone Enter
    std::chrono::milliseconds patience;
    std::string_view description;
};

/// From polite to final. The lone Enter is for agents that take a burst of keys for pasted text, in which
/// "/exit" and its Enter are a line of text and not yet a command.
inline constexpr std::array<StopRung, 5> stopLadder{{
    {TerminationMode::requestExitCommand, std::chrono::seconds(2), "asked to exit"},
    {std::nullopt, std::chrono::seconds(2), "pressed Enter"},
    {TerminationMode::interrupt, std::chrono::seconds(3), "interrupted"},
    {TerminationMode::terminate, std::chrono::seconds(5), "terminated"},
    {TerminationMode::kill, std::chrono::seconds(10), "killed"},
}};

}  // namespace quernlight::host
