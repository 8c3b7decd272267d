#pragma once

#include "host/commands/command_line.hpp"

namespace quernlight::host {

/// Adds "wait" to the command "queue".
void addQueueWait(CLI::App& queue, ChosenCommand& chosen);

}  // namespace quernlight::host
