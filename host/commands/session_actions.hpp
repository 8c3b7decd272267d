#pragma once

#include "host/commands/command_line.hpp"

namespace quernlight::host {

/// Adds "stop" and "resume" to the command "sessions".
void addSessionActions(CLI::App& sessions, ChosenCommand& chosen);

}  // namespace quernlight::host
