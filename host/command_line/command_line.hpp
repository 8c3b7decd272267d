#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace quernlight::host {

/// What the command line asks for, to be run once it has been read whole; returns the exit status.
using ChosenCommand = std::function<int()>;

// Each adds one command with its options to the program's command line; when that command is given, `chosen`
// is set.
void addRunCommand(CLI::App& program, ChosenCommand& chosen);
void addMapCommand(CLI::App& program, ChosenCommand& chosen);
void addQueueCommand(CLI::App& program, ChosenCommand& chosen);
void addConfigCommand(CLI::App& program, ChosenCommand& chosen);

}  // namespace quernlight::host
