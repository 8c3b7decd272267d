#include <memory>

#include <CLI/CLI.hpp>

#include "host/command_line/command_line.hpp"
#include "host/command_line/path_option.hpp"
#include "host/commands/map_command.hpp"

namespace quernlight::host {
namespace {

void addSet(CLI::App& map, ChosenCommand& chosen) {
    const auto options = std::make_shared<MapSetOptions>();
    CLI::App* set = map.add_subcommand("set", "Say which repository an app's bugs are worked on in");
    set->add_option("--bundle", options->bundleID, "The app's bundle identifier")->required();
    set->add_option("--app", options->appName, "The app's name")->required();
    addPathOption(*set, "--repo", options->repo, "A checkout of the app's repository")->required();
    set->add_option("--base", options->baseBranch, "Branch that worktrees start from")->capture_default_str();
    addPathOption(*set, "--worktrees", options->worktrees,
                  "Directory for the worktrees; default: beside the repository");
    addHomeOption(*set, options->home);
    set->callback([options, &chosen] { chosen = [options] { return mapSetCommand(*options); }; });
}

}  // namespace

void addMapCommand(CLI::App& program, ChosenCommand& chosen) {
    CLI::App* map = program.add_subcommand("map", "Repositories of the apps");
    map->require_subcommand(1);
    addSet(*map, chosen);
    const auto home = std::make_shared<std::optional<std::filesystem::path>>();
    CLI::App* list = map->add_subcommand("list", "List the mappings");
    addHomeOption(*list, *home);
    list->callback([home, &chosen] { chosen = [home] { return mapListCommand(*home); }; });
}

}  // namespace quernlight::host
