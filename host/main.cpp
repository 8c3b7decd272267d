#include <csignal>
#include <exception>
#include <iostream>

#include <CLI/CLI.hpp>

#include "host/demo_command.hpp"
#include "host/map_command.hpp"
#include "host/run_command.hpp"
#include "host/user_error.hpp"

namespace quernlight::host {
namespace {

struct Options {
    RunOptions run;
    MapSetOptions mapSet;
    std::optional<std::filesystem::path> mapListHome;
    DemoOptions demo;
};

void describeRun(CLI::App& run, RunOptions& options) {
    run.add_option("--backend", options.backend, "Address of the bug backend")->required();
    run.add_option("--token-file", options.tokenFile, "File that holds the administrator token")->required();
    run.add_option("--home", options.home, "Dispatch home; default: the user's own");
    run.add_option("--max-sessions", options.maxSessions, "Agents at work at the same time")
        ->capture_default_str()
        ->check(CLI::Range(1, 64));
    run.add_option("--idle-timeout", options.idleTimeoutSeconds,
                   "Seconds without activity that fail a session")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    run.add_option("--exit-grace", options.exitGraceSeconds,
                   "Seconds that the completion comment may come after the agent's exit")
        ->capture_default_str()
        ->check(CLI::NonNegativeNumber);
    run.add_flag("--once", options.once, "Take bugs in once and end when nothing is queued or running");
    run.add_flag("--dry-run", options.dryRun, "Only say what would be enqueued and started");
}

void describeMap(CLI::App& map, Options& options) {
    map.require_subcommand(1);
    CLI::App* set = map.add_subcommand("set", "Say which repository an app's bugs are worked on in");
    set->add_option("--bundle", options.mapSet.bundleID, "The app's bundle identifier")->required();
    set->add_option("--app", options.mapSet.appName, "The app's name")->required();
    set->add_option("--repo", options.mapSet.repo, "A checkout of the app's repository")->required();
    set->add_option("--base", options.mapSet.baseBranch, "Branch that worktrees start from")
        ->capture_default_str();
    set->add_option("--worktrees", options.mapSet.worktrees,
                    "Directory for the worktrees; default: beside the repository");
    set->add_option("--home", options.mapSet.home, "Dispatch home; default: the user's own");
    CLI::App* list = map.add_subcommand("list", "List the mappings");
    list->add_option("--home", options.mapListHome, "Dispatch home; default: the user's own");
}

void describeDemo(CLI::App& demo, DemoOptions& options) {
    demo.add_option("--home", options.home,
                    "Directory for all that the demo makes; default: a temporary one");
    demo.add_flag("--keep", options.keep, "Leave everything there to look at");
}

int runProgram(int argc, char** argv) {
    CLI::App app("Turns bug reports into work for a local coding agent.", "quernlight-dispatch");
    app.require_subcommand(1);
    Options options;
    CLI::App* demo =
        app.add_subcommand("demo", "Watch three bugs travel the whole road, on this machine only");
    CLI::App* run = app.add_subcommand("run", "Work on a backend's bugs");
    CLI::App* map = app.add_subcommand("map", "Repositories of the apps");
    describeDemo(*demo, options.demo);
    describeRun(*run, options.run);
    describeMap(*map, options);
    CLI11_PARSE(app, argc, argv);
    if (demo->parsed()) {
        return demoCommand(options.demo);
    }
    if (run->parsed()) {
        return runCommand(options.run);
    }
    return map->got_subcommand("set") ? mapSetCommand(options.mapSet) : mapListCommand(options.mapListHome);
}

}  // namespace
}  // namespace quernlight::host

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // a reader that leaves must not end the work
    try {
        return quernlight::host::runProgram(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "quernlight-dispatch: " << error.what() << std::endl;
        return 1;
    }
}
