#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/manual/command_description.hpp"

namespace CLI {
class App;
}

namespace quernlight::host {

/// What the command line asks for, to be run once it has been read whole; returns the exit status.
using ChosenCommand = std::function<int()>;

// Each adds one command with its options to the program's command line; when that command is given, `chosen`
// is set.
void addRunCommand(CLI::App& program, ChosenCommand& chosen);
void addWatchCommand(CLI::App& program, ChosenCommand& chosen);
void addMapCommand(CLI::App& program, ChosenCommand& chosen);
void addStatusCommand(CLI::App& program, ChosenCommand& chosen);
void addBugsCommand(CLI::App& program, ChosenCommand& chosen);
void addAnswerCommand(CLI::App& program, ChosenCommand& chosen);
void addReviewCommand(CLI::App& program, ChosenCommand& chosen);
void addQueueCommand(CLI::App& program, ChosenCommand& chosen);
void addSessionsCommand(CLI::App& program, ChosenCommand& chosen);
void addUnpauseCommand(CLI::App& program, ChosenCommand& chosen);
void addPreservedCommand(CLI::App& program, ChosenCommand& chosen);
void addReportCommand(CLI::App& program, ChosenCommand& chosen);
void addConfigCommand(CLI::App& program, ChosenCommand& chosen);
void addTokenCommand(CLI::App& program, ChosenCommand& chosen);
void addDoctorCommand(CLI::App& program, ChosenCommand& chosen);
void addInitCommand(CLI::App& program, ChosenCommand& chosen);
void addServiceCommand(CLI::App& program, ChosenCommand& chosen);
void addMcpCommand(CLI::App& program, ChosenCommand& chosen);
void addCompletionCommand(CLI::App& program, ChosenCommand& chosen);
void addManCommand(CLI::App& program, ChosenCommand& chosen);

/// Those of "sessions" that show what an agent wrote.
void addTranscriptCommands(CLI::App& sessions, ChosenCommand& chosen);

/// Reads the program's command line and does what it asks for. Returns the exit status, which is 2 when the
/// line cannot be meant; throws what the command throws.
int runCommandLine(int argc, char** argv);

/// What is wrong with a command line of these words, without the program's name; absent when it can be meant.
/// Does nothing of what it asks for.
std::optional<std::string> usageTrouble(const std::vector<std::string>& words);

/// The program with all its commands.
CommandDescription describedProgram();

}  // namespace quernlight::host
