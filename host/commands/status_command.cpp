#include <memory>

#include <CLI/CLI.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/command_output.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/service/status_text.hpp"
#include "host/text/relative_time.hpp"

namespace quernlight::host {
namespace {

struct StatusOptions {
    ChosenHome home{};
    bool json = false;
};

Task<void> tell(DispatchService& service, bool asJson, bool& needsAttention) {
    DispatchStatus status;
    status.health = co_await service.health();
    QueueList queue = co_await service.queue();
    status.queue = std::move(queue.entries);
    status.sessions = co_await service.sessions();
    const SettingValue agent = co_await service.setting("agent.command");
    status.agent = agent.text;
    needsAttention = needsPerson(status);
    CommandOutput output;
    if (asJson) {
        co_return output.printJson(jsonOf(status));
    }
    const Instant now = currentInstant();
    output.print(statusText(status, output.room(), now, localOffset(now)));
}

int tellStatus(const StatusOptions& given) {
    const auto service = serviceFor(given.home);
    bool needsAttention = false;
    const int interrupted = statusOf(tell(*service, given.json, needsAttention));
    return interrupted != 0 ? interrupted : needsAttention ? 1 : 0;
}

}  // namespace

void addStatusCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<StatusOptions>();
    CLI::App* app =
        program.add_subcommand("status", "Show how all stands; ends with 1 when something needs a person");
    app->add_flag("--json", options->json, "As JSON: an object");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return tellStatus(*options); }; });
}

}  // namespace quernlight::host
