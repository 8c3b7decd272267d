#include <iomanip>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/events/session_stage.hpp"
#include "host/process/user_error.hpp"
#include "host/service/service_error.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/identifiers.hpp"

namespace quernlight::host {
namespace {

struct QueueOptions {
    ChosenHome home{};
    std::string bugID{};
};

struct ChangeOptions {
    ChosenHome home{};
    QueueChange change{};
};

std::string describe(const BugQueueItem& item, SessionStage stage) {
    const std::string queue = item.queueMode == QueueMode::manual ? " (manual)" : "";
    return fitted(item.bugID, 8) + "  " + fitted(item.appName, 12) + "  " +
           fitted(std::string(statusText(stage)) + queue, 20) + "  " +
           withoutControls(item.errorMessage.value_or(item.title));
}

Task<void> list(DispatchService& service) {
    const auto entries = co_await service.queue();
    for (const bool forPerson : {true, false}) {
        for (const QueueEntry& entry : entries) {
            const bool isShown = needsAttention(entry.stage) == forPerson;
            std::cout << (isShown ? describe(entry.item, entry.stage) + "\n" : "");
        }
    }
    if (entries.empty()) {
        std::cout << "The queue is empty; bugs come in with: quernlight-dispatch run\n";
    }
    std::cout.flush();
}

Task<void> show(DispatchService& service, std::string bugID) {
    const QueueItemDetails details = co_await service.queueItem(std::move(bugID));
    std::cout << describe(details.item, details.stage) << "\n"
              << withoutControls(details.item.bugURL.text()) << "\n";
    for (const QueueEvent& event : details.history) {
        std::cout << "  " << formatInstant(event.createdAt) << "  " << std::left << std::setw(18)
                  << withoutControls(event.kind) << " " << withoutControls(event.message) << "\n";
    }
    if (details.waits) {
        std::cout << "waits: " << sentenceOf(*details.waits) << "\n";
    }
    if (!details.attempts.empty()) {
        const SessionAttemptRecord& latest = details.attempts.back();
        std::cout << "Attempt " << latest.attemptNumber
                  << ", transcript: " << withoutControls(latest.transcriptTextPath) << "\n";
    }
    std::cout.flush();
}

Task<void> change(DispatchService& service, QueueChange change) {
    const QueueEntry changed = co_await service.change(std::move(change));
    std::cout << describe(changed.item, changed.stage) << std::endl;
}

/// Whether a person wants finished work done again.
bool isConfirmed(const QueueChange& change) {
    const std::string bug =
        "The work on bug " + withoutControls(BugID::normalized(change.bugID)) + " is in review";
    if (!canAsk()) {
        throw UserError(bug + ", and there is no terminal to ask on; add --yes to have it worked on again.");
    }
    return confirmed(bug + ". Work on it again?");
}

int queueList(const QueueOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(list(*service));
}

int queueShow(const QueueOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(show(*service, given.bugID));
}

int queueChange(const ChangeOptions& given) {
    const auto service = serviceFor(given.home);
    try {
        return statusOf(change(*service, given.change));
    } catch (const ServiceError& error) {
        if (error.code() != ServiceErrorCode::needsConfirmation) {
            throw;
        }
    }
    if (!isConfirmed(given.change)) {
        std::cout << "Nothing was changed." << std::endl;
        return 1;
    }
    QueueChange agreed = given.change;
    agreed.consent.confirmed = true;
    return statusOf(change(*service, std::move(agreed)));
}

void addBug(CLI::App& app, std::string& bugID) {
    app.add_option("bug", bugID, "The bug's id; its first eight characters suffice")->required();
}

void addList(CLI::App& queue, ChosenCommand& chosen) {
    const auto options = std::make_shared<QueueOptions>();
    CLI::App* app = queue.add_subcommand("list", "List them, those that need a person first");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return queueList(*options); }; });
}

void addShow(CLI::App& queue, ChosenCommand& chosen) {
    const auto options = std::make_shared<QueueOptions>();
    CLI::App* app = queue.add_subcommand("show", "Show one bug with its history");
    addBug(*app, options->bugID);
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return queueShow(*options); }; });
}

void addChange(CLI::App& queue, ChosenCommand& chosen, QueueAction action, const char* name,
               const char* help) {
    const auto options = std::make_shared<ChangeOptions>();
    options->change.action = action;
    CLI::App* app = queue.add_subcommand(name, help);
    addBug(*app, options->change.bugID);
    addHomeOption(*app, options->home);
    if (action == QueueAction::retry) {
        Consent& consent = options->change.consent;
        app->add_flag("--again", consent.again, "Also a bug whose work is completed; asks first");
        app->add_flag("--yes", consent.confirmed, "Do not ask");
    }
    app->callback([options, &chosen] { chosen = [options] { return queueChange(*options); }; });
}

}  // namespace

void addQueueCommand(CLI::App& program, ChosenCommand& chosen) {
    CLI::App* queue = program.add_subcommand("queue", "The bugs in the queue");
    queue->require_subcommand(1);
    addList(*queue, chosen);
    addShow(*queue, chosen);
    using enum QueueAction;
    addChange(*queue, chosen, start, "start", "Let a bug of the manual queue be started");
    addChange(*queue, chosen, next, "next", "Put a waiting bug at the head of its queue");
    addChange(*queue, chosen, retry, "retry", "Queue a bug again that failed, asked or was cancelled");
    addChange(*queue, chosen, cancel, "cancel", "Take a bug out of its queue, but remember it");
    addChange(*queue, chosen, moveToManual, "hold", "Move a waiting bug to the manual queue");
    addChange(*queue, chosen, moveToAuto, "release", "Move a waiting bug to the automatic queue");
}

}  // namespace quernlight::host
