#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/owner_call.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/process/dispatch_home.hpp"
#include "host/service/start_resource.hpp"

namespace quernlight::host {
namespace {

Task<void> unpause(ChosenHome given) {
    const std::filesystem::path home = findDispatchHome(given);
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
    std::cout << endedPausesText(answer.get_object()) << std::flush;
}

}  // namespace

void addUnpauseCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto home = std::make_shared<ChosenHome>();
    CLI::App* app =
        program.add_subcommand("unpause", "Try at once what is not started for a while, whatever the cause");
    addHomeOption(*app, *home);
    app->callback([home, &chosen] { chosen = [home] { return statusOf(unpause(*home)); }; });
}

}  // namespace quernlight::host
