#include <algorithm>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>
#include <boost/json/array.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/command_output.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/process/user_error.hpp"
#include "host/service/configuration_json.hpp"
#include "host/service/json_fields.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

struct MapOptions {
    MappingRequest request{};
    ChosenHome home{};
    bool json = false;
};

Table tableOf(const std::vector<AppMapping>& mappings) {
    Table table({"BUNDLE", "APP", "REPOSITORY", "BRANCH", flexible("WORKTREES")});
    for (const AppMapping& mapping : mappings) {
        table.add({mapping.bundleID, mapping.appName, mapping.repoPath, mapping.baseBranch,
                   mapping.resolvedWorktreeRootPath()});
    }
    return table;
}

Task<void> mapSet(DispatchService& service, MapOptions given) {
    const StoredMapping stored = co_await service.setMapping(std::move(given.request));
    for (const std::string& warning : stored.warnings) {
        std::cerr << "Warning: " << withoutControls(warning) << std::endl;
    }
    CommandOutput output;
    if (given.json) {
        co_return output.printJson(jsonOf(stored));
    }
    const AppMapping& mapping = stored.mapping;
    output.print(
        withoutControls(mapping.bundleID + " (" + mapping.appName) + ") is worked on in " +
        withoutControls(mapping.repoPath) + ", from branch " + withoutControls(mapping.baseBranch) +
        ", with worktrees in " + withoutControls(*mapping.worktreeRootPath) +
        "\nIts agents are told to trust both; to have them ask instead: quernlight-dispatch config set "
        "agent.trust false\n");
}

Task<void> list(DispatchService& service, MapOptions given) {
    const auto mappings = co_await service.mappings();
    CommandOutput output;
    if (given.json) {
        co_return output.printJson(
            jsonArray(mappings, [](const AppMapping& mapping) { return jsonOf(mapping); }));
    }
    if (!mappings.empty()) {
        co_return output.print(tableOf(mappings));
    }
    output.print(
        "No mappings yet; add one with: quernlight-dispatch map set --bundle B --app NAME --repo PATH\n");
}

Task<void> show(DispatchService& service, MapOptions given) {
    const auto mappings = co_await service.mappings();
    const auto found = std::ranges::find(mappings, given.request.bundleID, &AppMapping::bundleID);
    if (found == mappings.end()) {
        throw UserError("No repository is mapped for " + withoutControls(given.request.bundleID) +
                        "; see: quernlight-dispatch map list");
    }
    CommandOutput output;
    if (given.json) {
        co_return output.printJson(jsonOf(*found));
    }
    output.print(tableOf({*found}));
}

Task<void> remove(DispatchService& service, MapOptions given) {
    const AppMapping mapping = co_await service.removeMapping(std::move(given.request.bundleID));
    CommandOutput output;
    if (given.json) {
        co_return output.printJson(jsonOf(mapping));
    }
    output.print(
        withoutControls(mapping.bundleID + " (" + mapping.appName) +
        ") has no repository any more; its bugs wait for a new one. The repository and its worktrees "
        "are left as they are.\n");
}

/// Says whether each can be used; one that cannot ends the command with an error.
Task<void> check(DispatchService& service, MapOptions given) {
    const auto checks = co_await service.checkMappings();
    const auto isBroken = [](const MappingCheck& mapping) { return !mapping.trouble.empty(); };
    const auto broken = std::ranges::count_if(checks, isBroken);
    CommandOutput output;
    if (given.json) {
        output.printJson(jsonArray(checks, [](const MappingCheck& mapping) { return jsonOf(mapping); }));
    } else {
        Table table({"BUNDLE", "APP", flexible("CAN BE USED")});
        for (const MappingCheck& each : checks) {
            table.add({each.mapping.bundleID, each.mapping.appName,
                       isBroken(each) ? TableCell(each.trouble, CellEmphasis::attention) : TableCell("yes")});
        }
        output.print(table);
    }
    if (broken > 0) {
        throw UserError(std::to_string(broken) + " of " + std::to_string(checks.size()) +
                        " mappings cannot be used; set them anew with: quernlight-dispatch map set");
    }
}

using Operation = Task<void> (*)(DispatchService&, MapOptions);

int runOn(const MapOptions& given, Operation operation) {
    const auto service = serviceFor(given.home);
    return statusOf(operation(*service, given));
}

CLI::App* addOperation(CLI::App& map, ChosenCommand& chosen, const char* name, const char* help,
                       Operation operation, const std::shared_ptr<MapOptions>& options) {
    CLI::App* app = map.add_subcommand(name, help);
    app->add_flag("--json", options->json, "As JSON");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen, operation] {
        chosen = [options, operation] { return runOn(*options, operation); };
    });
    return app;
}

void addOfBundle(CLI::App& map, ChosenCommand& chosen, const char* name, const char* help,
                 Operation operation) {
    const auto options = std::make_shared<MapOptions>();
    CLI::App* app = addOperation(map, chosen, name, help, operation, options);
    app->add_option("bundle", options->request.bundleID, "The app's bundle identifier")->required();
}

void addSet(CLI::App& map, ChosenCommand& chosen) {
    const auto options = std::make_shared<MapOptions>();
    MappingRequest& request = options->request;
    CLI::App* set = addOperation(map, chosen, "set", "Say which repository an app's bugs are worked on in",
                                 mapSet, options);
    set->add_option("--bundle", request.bundleID, "The app's bundle identifier")->required();
    set->add_option("--app", request.appName, "The app's name")->required();
    addPathOption(*set, "--repo", request.repository, "A checkout of the app's repository")->required();
    set->add_option("--base", request.baseBranch, "Branch that worktrees start from")->capture_default_str();
    addPathOption(*set, "--worktrees", request.worktrees,
                  "Directory for the worktrees; default: beside the repository");
}

}  // namespace

void addMapCommand(CLI::App& program, ChosenCommand& chosen) {
    CLI::App* map = program.add_subcommand("map", "Repositories of the apps");
    map->require_subcommand(1);
    addSet(*map, chosen);
    addOperation(*map, chosen, "list", "List the mappings", list, std::make_shared<MapOptions>());
    addOfBundle(*map, chosen, "show", "Show one", show);
    addOfBundle(*map, chosen, "remove", "Forget one; its bugs wait for a new one", remove);
    addOperation(*map, chosen, "check", "Look whether bugs can be worked on in each of them", check,
                 std::make_shared<MapOptions>());
}

}  // namespace quernlight::host
