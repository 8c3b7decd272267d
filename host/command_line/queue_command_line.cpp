#include <memory>

#include <CLI/CLI.hpp>

#include "host/command_line/command_line.hpp"
#include "host/command_line/path_option.hpp"
#include "host/commands/queue_command.hpp"

namespace quernlight::host {
namespace {

void addItemCommand(CLI::App& queue, ChosenCommand& chosen, QueueAction action, const char* name,
                    const char* help) {
    const auto options = std::make_shared<QueueItemOptions>();
    options->action = action;
    CLI::App* app = queue.add_subcommand(name, help);
    app->add_option("bug", options->bugID, "The bug's id; its first eight characters suffice")->required();
    addHomeOption(*app, options->home);
    if (action == QueueAction::retry) {
        app->add_flag("--again", options->again, "Also a bug whose work is completed; asks first");
        app->add_flag("--yes", options->yes, "Do not ask");
    }
    app->callback([options, &chosen] { chosen = [options] { return queueItemCommand(*options); }; });
}

}  // namespace

void addQueueCommand(CLI::App& program, ChosenCommand& chosen) {
    CLI::App* queue = program.add_subcommand("queue", "The bugs in the queue");
    queue->require_subcommand(1);
    const auto home = std::make_shared<std::optional<std::filesystem::path>>();
    CLI::App* list = queue->add_subcommand("list", "List them, those that need a person first");
    addHomeOption(*list, *home);
    list->callback([home, &chosen] { chosen = [home] { return queueListCommand(*home); }; });
    using enum QueueAction;
    addItemCommand(*queue, chosen, show, "show", "Show one bug with its history");
    addItemCommand(*queue, chosen, start, "start", "Let a bug of the manual queue be started");
    addItemCommand(*queue, chosen, next, "next", "Put a waiting bug at the head of its queue");
    addItemCommand(*queue, chosen, retry, "retry", "Queue a bug again that failed, asked or was cancelled");
    addItemCommand(*queue, chosen, cancel, "cancel", "Take a bug out of its queue, but remember it");
    addItemCommand(*queue, chosen, moveToManual, "hold", "Move a waiting bug to the manual queue");
    addItemCommand(*queue, chosen, moveToAuto, "release", "Move a waiting bug to the automatic queue");
}

}  // namespace quernlight::host
