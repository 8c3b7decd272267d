#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/manual/command_description.hpp"

namespace quernlight::host {

// What is said of the commands besides what they declare themselves.

/// What an option takes, or an argument is, by its name: FILE, DIR, URL, BUG, ... `declared` is what its
/// command says, which is heeded unless it is only the C++ type's name.
std::string valueName(const std::string& name, const std::string& declared);

/// The heading under which the program's help lists a command, by its first word.
std::string_view groupOf(std::string_view command);

/// The headings, in the order in which they stand.
std::span<const std::string_view> commandGroups();

struct CommandExample {
    std::string_view command;  ///< "queue show"
    std::string_view line;     ///< as it is typed
    std::string_view purpose;  ///< a phrase
    bool isFirst = false;      ///< one of those that a new user needs, which the program's own help shows
};

std::span<const CommandExample> commandExamples();

/// Those of the command and of the ones beneath it.
std::vector<CommandExample> examplesOf(const CommandDescription& command);

struct HeededVariable {
    std::string_view name;
    std::string_view commands;  ///< which heed it, separated by blanks; empty: all
    std::string_view help;
};

std::vector<HeededVariable> variablesOf(const CommandDescription& command);

}  // namespace quernlight::host
