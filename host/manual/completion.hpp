#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/manual/command_description.hpp"

namespace quernlight::host {

struct Candidate {
    std::string text;
    std::string help;

    bool operator==(const Candidate&) const = default;
};

/// What may stand in place of the last word of a command line.
struct Completion {
    std::string option{};  ///< what stands before it in the same word, "--home="
    std::string typed{};   ///< what candidates begin with
    std::string value{};   ///< what is taken there: FILE, BUG, ...; empty: one of the candidates
    std::vector<Candidate> candidates{};   ///< commands or options that begin so
    std::vector<std::string> arguments{};  ///< of the same command, before it
    std::optional<std::string> home{};     ///< which the line names
};

/// `words` stand behind the program's name, the last of them is to be completed and may be empty. A pure
/// function of them; whoever knows the values of the home adds those.
Completion completionOf(const CommandDescription& program, const std::vector<std::string>& words);

/// Those that begin with what is typed, and that every shell takes as they stand, as lines: the word, a tab
/// and its help.
std::string candidateLines(const Completion& completion, const std::vector<Candidate>& candidates);

/// In place of the lines where the shell itself knows what may stand there; empty for other values.
std::string shellDirective(const std::string& value);

}  // namespace quernlight::host
