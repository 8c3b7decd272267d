#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/command_output.hpp"
#include "host/commands/owner_call.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/process/dispatch_home.hpp"
#include "host/service/start_resource.hpp"

namespace quernlight::host {
namespace {

struct UnpauseOptions {
    ChosenHome home{};
    bool json = false;
};

Task<void> unpause(UnpauseOptions given) {
    const std::filesystem::path home = findDispatchHome(given.home);
    ControlRequest request{.method = "POST", .target = "/v1/starts/unpause"};
    boost::json::value answer;
    try {
        answer = co_await ownersAnswer(home, std::move(request));
    } catch (const OwnerNotRunning&) {
        throw noDispatcher(home);
    }
    if (!answer.is_object()) {
        throw misunderstood();
    }
    if (given.json) {
        CommandOutput output;
        co_return output.printJson(answer);
    }
    std::cout << endedPausesText(answer.get_object()) << std::flush;
}

}  // namespace

void addUnpauseCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<UnpauseOptions>();
    CLI::App* app =
        program.add_subcommand("unpause", "Try at once what is not started for a while, whatever the cause");
    app->add_flag("--json", options->json, "As JSON: an object");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return statusOf(unpause(*options)); }; });
}

}  // namespace quernlight::host
