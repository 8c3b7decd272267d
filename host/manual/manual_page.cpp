#include "host/manual/manual_page.hpp"

#include <algorithm>
#include <cctype>

#include "host/manual/command_notes.hpp"

namespace quernlight::host {
namespace {

std::string sentence(const std::string& text) {
    return text + (text.ends_with('.') ? "" : ".");
}

/// As whatis(1) lists it.
std::string phrase(const std::string& text) {
    return text.ends_with('.') ? text.substr(0, text.size() - 1) : text;
}

std::string bold(const std::string& text) {
    return "\\fB" + roffText(text) + "\\fR";
}

/// The names are typed as they stand, the value is what a person puts there.
std::string optionTerm(const OptionDescription& option) {
    std::string term;
    for (const std::string& name : option.names) {
        term += (term.empty() ? "" : ", ") + bold(name);
    }
    return term + (option.value.empty() ? "" : " \\fI" + roffText(option.value) + "\\fR");
}

std::string item(const std::string& term, const std::string& text) {
    return ".TP\n" + term + "\n" + roffText(text) + "\n";
}

std::string section(const std::string& heading, const std::string& body) {
    return body.empty() ? "" : ".SH " + heading + "\n" + body;
}

std::string synopsis(const CommandDescription& command) {
    return bold(fullName(command)) + " " + roffText(usageOf(command)) + "\n";
}

std::string argumentItems(const CommandDescription& command) {
    std::string items;
    for (const OptionDescription& argument : command.arguments) {
        items += item("\\fI" + roffText(argument.value) + "\\fR", sentence(argument.help));
    }
    return items;
}

std::string optionItems(const CommandDescription& command) {
    std::string items;
    for (const OptionDescription& option : command.options) {
        items += item(optionTerm(option), sentence(option.help) + (option.isRequired ? " Required." : ""));
    }
    return items;
}

std::string pageName(const std::string& command) {
    return std::string(programName) + (command.empty() ? "" : "-") + command;
}

/// Each with its page.
std::string programCommands(const CommandDescription& program) {
    std::string items;
    for (const CommandDescription* command : shownCommands(program)) {
        items += item(bold(pageName(command->path.front())) + "(1)", sentence(command->help));
    }
    return items;
}

/// Each with its own words and options.
std::string commandParts(const CommandDescription& command) {
    std::string parts;
    for (const CommandDescription* beneath : shownCommands(command)) {
        parts += ".SS " + roffText(joined(beneath->path, " ")) + "\n" + roffText(sentence(beneath->help)) +
                 "\n.PP\n" + synopsis(*beneath) + argumentItems(*beneath) + optionItems(*beneath) +
                 commandParts(*beneath);
    }
    return parts;
}

std::string environment(const CommandDescription& command) {
    std::string items;
    for (const HeededVariable& variable : variablesOf(command)) {
        items += item(bold(std::string(variable.name)), sentence(std::string(variable.help)));
    }
    return items;
}

std::string examples(const CommandDescription& command) {
    std::string items;
    for (const CommandExample& example : examplesOf(command)) {
        items += item(bold(std::string(example.line)), sentence(std::string(example.purpose)));
    }
    return items;
}

std::string exitStatus() {
    return item("0", "It worked.") + item("1", "It failed, as standard error says.") +
           item("2", "The command line cannot be meant.") + item("130", "It was interrupted.");
}

std::string seeAlso(const CommandDescription& program, const CommandDescription& command) {
    std::vector<std::string> pages;
    if (!command.path.empty()) {
        pages.push_back(bold(pageName("")) + "(1)");
    }
    for (const CommandDescription* other : shownCommands(program)) {
        if (other->path != command.path) {
            pages.push_back(bold(pageName(other->path.front())) + "(1)");
        }
    }
    return joined(pages, ",\n") + "\n";
}

std::string title(const std::string& name, const ManualEdition& edition) {
    std::string upper = name;
    std::ranges::transform(upper, upper.begin(),
                           [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return ".TH " + upper + " 1 \"" + edition.date + "\" \"" + std::string(programName) + " " +
           edition.version + "\" \"User Commands\"\n";
}

ManualPage pageOf(const CommandDescription& program, const CommandDescription& command,
                  const ManualEdition& edition) {
    const std::string name = pageName(joined(command.path, "-"));
    const bool isProgram = command.path.empty();
    std::string text = title(name, edition);
    text += section("NAME", roffText(name) + " \\- " + roffText(phrase(command.help)) + "\n");
    text += section("SYNOPSIS", synopsis(command));
    text += section("DESCRIPTION", roffText(sentence(command.help)) + "\n" + argumentItems(command));
    text += section("COMMANDS", isProgram ? programCommands(command) : commandParts(command));
    text += section("OPTIONS", optionItems(command));
    text += section("EXIT STATUS", exitStatus());
    text += section("ENVIRONMENT", environment(command));
    text += section("EXAMPLES", examples(command));
    text += section("SEE ALSO", seeAlso(program, command));
    return {.fileName = name + ".1", .text = text};
}

}  // namespace

std::string roffText(const std::string& text) {
    // A line that begins with one of these is a request.
    std::string escaped = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
    for (const char character : text) {
        switch (character) {
            case '\\':
                escaped += "\\e";
                break;
            case '-':
                escaped += "\\-";
                break;
            case '~':
                escaped += "\\(ti";
                break;
            case '^':
                escaped += "\\(ha";
                break;
            case '`':
                escaped += "\\(ga";
                break;
            case '\'':
                escaped += "\\(aq";
                break;
            case '\n':
                escaped += ' ';
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

std::vector<ManualPage> manualPages(const CommandDescription& program, const ManualEdition& edition) {
    std::vector<ManualPage> pages{pageOf(program, program, edition)};
    for (const CommandDescription* command : shownCommands(program)) {
        pages.push_back(pageOf(program, *command, edition));
    }
    return pages;
}

}  // namespace quernlight::host
