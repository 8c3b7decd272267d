#include "quernlight/runner/termination_mode.hpp"

#include <array>

namespace quernlight {
namespace {

constexpr std::array<std::string_view, 4> rawValues{"requestExitCommand", "interrupt", "terminate", "kill"};

}  // namespace

std::string_view rawValue(TerminationMode mode) {
    return rawValues.at(static_cast<std::size_t>(mode));
}

std::optional<TerminationMode> terminationModeOf(std::string_view rawValue) {
    for (std::size_t index = 0; index < rawValues.size(); ++index) {
        if (rawValues[index] == rawValue) {
            return static_cast<TerminationMode>(index);
        }
    }
    return std::nullopt;
}

}  // namespace quernlight
