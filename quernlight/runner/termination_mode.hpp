#pragma once

#include <optional>
#include <string_view>

namespace quernlight {

/// How a session is asked to stop. None of them waits for the exit or goes on to a harsher one.
enum class TerminationMode {
    requestExitCommand,  ///< types "/exit" and Enter
    interrupt,           ///< SIGINT
    terminate,           ///< SIGTERM
    kill,                ///< SIGKILL
};

/// The text that stands for the mode in serialised form: its name as above.
std::string_view rawValue(TerminationMode mode);

/// The mode of a raw value, or nothing for any other text.
std::optional<TerminationMode> terminationModeOf(std::string_view rawValue);

}  // namespace quernlight
