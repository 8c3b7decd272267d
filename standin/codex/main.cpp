// A scripted agent that behaves on its terminal, with git, with the bug backend and with its state database
// as a coding agent does that is told "/goal". For tests and the demo.

#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>

#include <unistd.h>

#include <curl/curl.h>

#include "quernlight/platform/identifiers.hpp"
#include "standin/codex/agent.hpp"
#include "standin/codex/command_line.hpp"
#include "standin/codex/goal_log.hpp"
#include "standin/codex/screen.hpp"

namespace codex = quernlight::standin::codex;

namespace {

/// The conversation to lead; nothing when the one to resume is not known.
std::optional<std::string> openThread(codex::StateDatabase& database, const codex::CommandLine& commandLine) {
    if (!commandLine.resume) {
        std::string id = quernlight::lowerCaseText(quernlight::randomUuid());
        // Of a conversation that its background service leads an agent says so.
        database.insertThread(id, std::filesystem::current_path().string(),
                              commandLine.startsService ? "vscode" : "cli");
        return id;
    }
    const auto id = quernlight::parseUuid(commandLine.resumeID);
    if (!id || !database.hasThread(quernlight::lowerCaseText(*id))) {
        return std::nullopt;
    }
    database.touchThread(quernlight::lowerCaseText(*id));
    return quernlight::lowerCaseText(*id);
}

/// A dispatcher names the directory for app and bug: "Shop-3f2a9c1d".
std::string bugOfDirectory(const std::filesystem::path& directory) {
    const std::string name = directory.filename().string();
    return name.substr(name.rfind('-') + 1);
}

int converse(const codex::CommandLine& commandLine) {
    if (!isatty(STDIN_FILENO)) {
        throw std::runtime_error("Standard input is no terminal.");
    }
    codex::Settings settings = codex::settingsFromEnvironment();
    settings.commandLine = commandLine;
    codex::StateDatabase database(settings.home);
    const std::string bugID = bugOfDirectory(std::filesystem::current_path());
    settings.session = codex::logStart(settings.home, bugID);
    const codex::Conduct conduct = codex::conductAtStart(bugID, settings);
    if (commandLine.resume && conduct.behaviour == codex::Behaviour::resumeDies) {
        std::cout << codex::damagedLine() << std::endl;
        return 1;
    }
    if (commandLine.hasGoals && conduct.behaviour != codex::Behaviour::noGoal) {
        database.keepGoals();
    }
    const auto thread = openThread(database, commandLine);
    if (!thread) {
        std::cout << codex::unknownSessionLine(commandLine.resumeID) << std::endl;
        return 1;
    }
    return codex::Agent(settings, conduct, database, {.id = *thread, .isResumed = commandLine.resume}).run();
}

}  // namespace

int main(int argc, char** argv) {
    const codex::CommandLine commandLine = codex::parseCommandLine({argv + 1, argv + argc});
    if (commandLine.showVersion) {
        std::cout << codex::versionLine() << std::endl;
        return 0;
    }
    if (commandLine.listFeatures) {
        std::cout << "goals                                stable             true" << std::endl;
        return 0;
    }
    if (commandLine.showLogin) {
        std::cout << "Logged in by way of a script" << std::endl;
        return 0;
    }
    curl_global_init(CURL_GLOBAL_DEFAULT);
    int status = 1;
    try {
        status = converse(commandLine);
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
    }
    curl_global_cleanup();
    return status;
}
