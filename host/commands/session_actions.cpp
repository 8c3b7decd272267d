#include "host/commands/session_actions.hpp"

#include <memory>

#include <CLI/CLI.hpp>

#include "host/commands/command_output.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/service/queue_json.hpp"
#include "host/service/queue_text.hpp"
#include "host/text/shell_text.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

struct ActionOptions {
    ChosenHome home{};
    std::string bugID{};
    bool json = false;
};

void print(const QueueEntry& entry, const std::string& sentence, bool asJson) {
    CommandOutput output;
    if (asJson) {
        return output.printJson(jsonOf(entry));
    }
    output.print(withoutControls(entry.item.bugID + "  " + entry.item.title) + ": " + sentence + "\n");
}

Task<void> stop(DispatchService& service, ActionOptions given) {
    const QueueEntry entry = co_await service.stopSession(std::move(given.bugID));
    print(entry,
          "its agent is being stopped; then the bug is held, until it goes on in the same conversation with: "
          "quernlight-dispatch sessions resume " +
              shellQuoted(entry.item.bugID),
          given.json);
}

Task<void> resume(DispatchService& service, ActionOptions given) {
    QueueChange change{.action = QueueAction::start, .bugID = std::move(given.bugID)};
    const QueueEntry entry = co_await service.change(std::move(change));
    print(entry, stageInQueue(entry), given.json);
}

using Operation = Task<void> (*)(DispatchService&, ActionOptions);

int runOn(const ActionOptions& given, Operation operation) {
    const auto service = serviceFor(given.home);
    return statusOf(operation(*service, given));
}

void add(CLI::App& sessions, ChosenCommand& chosen, const char* name, const char* help, Operation operation) {
    const auto options = std::make_shared<ActionOptions>();
    CLI::App* app = sessions.add_subcommand(name, help);
    addBugOption(*app, options->bugID);
    app->add_flag("--json", options->json, "As JSON: an object");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen, operation] {
        chosen = [options, operation] { return runOn(*options, operation); };
    });
}

}  // namespace

void addSessionActions(CLI::App& sessions, ChosenCommand& chosen) {
    add(sessions, chosen, "stop", "Stop a bug's agent politely, and hold the bug", stop);
    add(sessions, chosen, "resume", "Let a bug that was stopped go on in the same conversation", resume);
}

}  // namespace quernlight::host
