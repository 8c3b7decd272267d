#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

struct MapOptions {
    MappingRequest request{};
    ChosenHome home{};
};

Task<void> set(DispatchService& service, MappingRequest request) {
    const AppMapping mapping = co_await service.setMapping(std::move(request));
    std::cout
        << withoutControls(mapping.bundleID + " (" + mapping.appName) << ") is worked on in "
        << withoutControls(mapping.repoPath) << ", from branch " << withoutControls(mapping.baseBranch)
        << ", with worktrees in " << withoutControls(*mapping.worktreeRootPath) << "\n"
        << "Its agents are told to trust both; to have them ask instead: quernlight-dispatch config set "
           "agent.trust false"
        << std::endl;
}

Task<void> list(DispatchService& service) {
    const auto mappings = co_await service.mappings();
    for (const AppMapping& mapping : mappings) {
        std::cout << withoutControls(mapping.bundleID + "  " + mapping.appName + "  " + mapping.repoPath +
                                     "  " + mapping.baseBranch + "  " + mapping.resolvedWorktreeRootPath())
                  << "\n";
    }
    if (mappings.empty()) {
        std::cout
            << "No mappings yet; add one with: quernlight-dispatch map set --bundle B --app NAME --repo PATH\n";
    }
}

int mapSet(const MapOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(set(*service, given.request));
}

int mapList(const MapOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(list(*service));
}

void addSet(CLI::App& map, ChosenCommand& chosen) {
    const auto options = std::make_shared<MapOptions>();
    MappingRequest& request = options->request;
    CLI::App* set = map.add_subcommand("set", "Say which repository an app's bugs are worked on in");
    set->add_option("--bundle", request.bundleID, "The app's bundle identifier")->required();
    set->add_option("--app", request.appName, "The app's name")->required();
    addPathOption(*set, "--repo", request.repository, "A checkout of the app's repository")->required();
    set->add_option("--base", request.baseBranch, "Branch that worktrees start from")->capture_default_str();
    addPathOption(*set, "--worktrees", request.worktrees,
                  "Directory for the worktrees; default: beside the repository");
    addHomeOption(*set, options->home);
    set->callback([options, &chosen] { chosen = [options] { return mapSet(*options); }; });
}

}  // namespace

void addMapCommand(CLI::App& program, ChosenCommand& chosen) {
    CLI::App* map = program.add_subcommand("map", "Repositories of the apps");
    map->require_subcommand(1);
    addSet(*map, chosen);
    const auto options = std::make_shared<MapOptions>();
    CLI::App* list = map->add_subcommand("list", "List the mappings");
    addHomeOption(*list, options->home);
    list->callback([options, &chosen] { chosen = [options] { return mapList(*options); }; });
}

}  // namespace quernlight::host
