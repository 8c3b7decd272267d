#include <memory>

#include <CLI/CLI.hpp>

#include "host/command_line/command_line.hpp"
#include "host/command_line/path_option.hpp"
#include "host/commands/run_command.hpp"

namespace quernlight::host {
namespace {

/// An option that stands above a setting for this run. The setting's own rules check it.
void addSetting(CLI::App& run, RunOptions& options, const char* option, const char* key, const char* help) {
    run.add_option_function<std::string>(
        option, [&options, key](const std::string& text) { options.settings[key] = text; },
        std::string(help) + " (setting " + key + ")");
}

}  // namespace

void addRunCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<RunOptions>();
    CLI::App* run = program.add_subcommand("run", "Work on a backend's bugs");
    run->add_option("--backend", options->backend, "Address of the bug backend (setting backend.url)");
    addPathOption(*run, "--token-file", options->tokenFile, "File that holds the administrator token")
        ->required();
    addHomeOption(*run, options->home);
    addSetting(*run, *options, "--max-sessions", "sessions.max", "Agents at work at the same time");
    addSetting(*run, *options, "--idle-timeout", "sessions.idle_timeout_seconds",
               "Seconds without activity that fail a session");
    addSetting(*run, *options, "--exit-grace", "sessions.post_exit_grace_seconds",
               "Seconds that the completion comment may come after the agent's exit");
    run->add_flag("--once", options->once, "Take bugs in once and end when nothing is queued or running");
    run->add_flag("--dry-run", options->dryRun, "Only say what would be enqueued and started");
    addPathOption(*run, "--log-file", options->logFile, "File to whose end the log is written as well");
    run->add_flag("--log-json", options->logJson, "Log as one JSON object a line");
    run->callback([options, &chosen] { chosen = [options] { return runCommand(*options); }; });
}

}  // namespace quernlight::host
