#include "host/commands/session_actions.hpp"

#include <memory>

#include <CLI/CLI.hpp>

#include "host/commands/backend_call.hpp"
#include "host/commands/command_output.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/events/standing_wish.hpp"
#include "host/service/queue_json.hpp"
#include "host/service/queue_text.hpp"
#include "host/service/service_error.hpp"
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
    print(entry, stopSentence(entry), given.json);
}

/// One whose session has begun meanwhile needs no place.
Task<void> putAtHead(DispatchService& service, std::string bugID) {
    try {
        QueueChange next{.action = QueueAction::next, .bugID = std::move(bugID)};
        co_await service.change(std::move(next));
    } catch (const ServiceError& error) {
        if (error.code() != ServiceErrorCode::refused) {
            throw;
        }
    }
}

/// Back to where it was: a bug that only its stop has put into the manual queue goes to the head of the
/// other.
Task<void> resume(DispatchService& service, ActionOptions given) {
    const QueueItemDetails details = co_await service.queueItem(given.bugID);
    const bool isHeld = details.item.queueMode == QueueMode::manual && !isTerminal(details.item.status);
    const bool goesBack = isHeld && wasHeldByStop(details.history);
    QueueChange change{.action = goesBack ? QueueAction::moveToAuto : QueueAction::start,
                       .bugID = details.item.bugID};
    const QueueEntry entry = co_await service.change(std::move(change));
    if (goesBack) {
        co_await putAtHead(service, details.item.bugID);
    }
    print(entry, stageInQueue(entry), given.json);
}

using Operation = Task<void> (*)(DispatchService&, ActionOptions);

int runOn(const ActionOptions& given, Operation operation) {
    const auto service = serviceWithBackend({.home = given.home});
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
