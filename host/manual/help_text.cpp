#include "host/manual/help_text.hpp"

#include <algorithm>
#include <sstream>

#include "host/manual/command_notes.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t widestTerm = 26;  // of a longer one the text stands on the next line
constexpr std::size_t narrowest = 20;   // for a text beside its term

/// A line of a list: what is explained, and the explanation.
struct Entry {
    std::string term;
    std::string text;
};

using Entries = std::vector<Entry>;

/// The text, which begins behind `column` columns, in lines of `width`, those behind the first indented.
std::string wrapped(const std::string& text, std::size_t column, std::size_t indent, std::size_t width) {
    std::istringstream words(text);
    std::string lines;
    bool isFirst = true;
    for (std::string word; words >> word; isFirst = false) {
        const std::size_t taken = displayWidth(word);
        if (!isFirst && column + 1 + taken > width) {
            lines += "\n" + std::string(indent, ' ') + word;
            column = indent + taken;
        } else {
            lines += (isFirst ? "" : " ") + word;
            column += taken + (isFirst ? 0 : 1);
        }
    }
    return lines;
}

std::string wrapped(const std::string& text, std::size_t indent, std::size_t width) {
    return wrapped(text, indent, indent, width);
}

std::size_t termColumns(const Entries& entries) {
    std::size_t widest = 0;
    for (const Entry& entry : entries) {
        widest = entry.term.size() <= widestTerm ? std::max(widest, entry.term.size()) : widest;
    }
    return widest;
}

std::string entryText(const Entry& entry, std::size_t columns, std::size_t width) {
    const std::size_t indent = columns + 4;
    const bool isBeside = entry.term.size() <= columns;
    const std::string gap =
        isBeside ? std::string(indent - 2 - entry.term.size(), ' ') : "\n" + std::string(indent, ' ');
    return "  " + entry.term + (entry.text.empty() ? "" : gap) +
           wrapped(entry.text, indent, std::max(width, indent + narrowest)) + "\n";
}

/// Nothing where there are none.
std::string section(const std::string& heading, const Entries& entries, std::size_t width) {
    std::string text = entries.empty() ? "" : "\n" + heading + ":\n";
    const std::size_t columns = termColumns(entries);
    for (const Entry& entry : entries) {
        text += entryText(entry, columns, width);
    }
    return text;
}

std::string withArguments(const CommandDescription& command) {
    const std::string words = argumentsUsage(command);
    return command.path.back() + (words.empty() ? "" : " ") + words;
}

std::string commandSection(const std::string& heading, const std::vector<const CommandDescription*>& commands,
                           std::size_t width) {
    Entries entries;
    for (const CommandDescription* command : commands) {
        entries.push_back({withArguments(*command), command->help});
    }
    return section(heading, entries, width);
}

/// The program's own are listed by group.
std::string commandSections(const CommandDescription& command, std::size_t width) {
    const auto shown = shownCommands(command);
    if (!command.path.empty()) {
        return commandSection("Commands", shown, width);
    }
    std::string sections;
    for (const std::string_view group : commandGroups()) {
        std::vector<const CommandDescription*> members;
        std::ranges::copy_if(shown, std::back_inserter(members), [&](const CommandDescription* member) {
            return groupOf(member->path.front()) == group;
        });
        sections += commandSection(std::string(group), members, width);
    }
    return sections;
}

Entries argumentEntries(const CommandDescription& command) {
    Entries entries;
    for (const OptionDescription& argument : command.arguments) {
        entries.push_back({argument.value, argument.help});
    }
    return entries;
}

Entries optionEntries(const CommandDescription& command) {
    Entries entries;
    for (const OptionDescription& option : command.options) {
        entries.push_back({namesOf(option), option.help + (option.isRequired ? " (required)" : "")});
    }
    return entries;
}

Entries variableEntries(const CommandDescription& command) {
    Entries entries;
    for (const HeededVariable& variable : variablesOf(command)) {
        entries.push_back({std::string(variable.name), std::string(variable.help)});
    }
    return entries;
}

bool isShown(const CommandExample& example, const CommandDescription& command) {
    return !command.path.empty() || example.isFirst;
}

std::string exampleLines(const CommandDescription& command, std::size_t width) {
    std::string lines;
    for (const CommandExample& example : examplesOf(command)) {
        if (isShown(example, command)) {
            lines += "  # " + wrapped(std::string(example.purpose), 4, width) + "\n  " +
                     std::string(example.line) + "\n";
        }
    }
    return lines.empty() ? "" : "\nExamples:\n" + lines;
}

std::string furtherReading(const CommandDescription& command) {
    if (shownCommands(command).empty()) {
        return "";
    }
    return "\nMore on each: " + fullName(command) + " COMMAND --help\n";
}

}  // namespace

std::string helpText(const CommandDescription& command, std::size_t width) {
    const std::string stop = command.help.ends_with('.') ? "" : ".";
    const std::string use = "Usage: " + fullName(command) + " ";
    return wrapped(command.help + stop, 0, width) + "\n\n" + use +
           wrapped(usageOf(command), use.size(), std::min<std::size_t>(use.size(), 30), width) + "\n" +
           commandSections(command, width) + section("Arguments", argumentEntries(command), width) +
           section("Options", optionEntries(command), width) +
           section("Environment", variableEntries(command), width) + exampleLines(command, width) +
           furtherReading(command);
}

}  // namespace quernlight::host
