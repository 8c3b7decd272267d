#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>
#include <boost/json/array.hpp>

#include "host/commands/backend_call.hpp"
#include "host/commands/command_line.hpp"
#include "host/commands/command_output.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/queue_wait.hpp"
#include "host/commands/service_call.hpp"
#include "host/events/session_stage.hpp"
#include "host/process/user_error.hpp"
#include "host/service/json_fields.hpp"
#include "host/service/queue_json.hpp"
#include "host/service/queue_text.hpp"
#include "host/service/service_error.hpp"
#include "host/text/relative_time.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

struct ListOptions {
    ChosenHome home{};
    QueueFilter filter{};
    std::string stage{};
    bool json = false;
};

struct BugOptions {
    ChosenHome home{};
    std::string bugID{};
    bool json = false;
};

struct ChangeOptions {
    ChosenHome home{};
    QueueChange change{};
    bool json = false;
};

json::array shownAsJson(const std::vector<QueueEntry>& shown, const std::vector<UnreadableBug>& unreadable) {
    json::array array = jsonArray(shown, [](const QueueEntry& entry) { return jsonOf(entry); });
    for (const UnreadableBug& bug : unreadable) {
        array.push_back(jsonOf(bug));
    }
    return array;
}

bool isSameName(const std::string& left, const std::string& right) {
    return lowercased(left) == lowercased(right);
}

/// That no app has the name that is looked for; empty when one has, or none was named.
Task<std::string> unknownApp(DispatchService& service, const std::vector<QueueEntry>& entries,
                             const QueueFilter& filter) {
    const bool isInQueue = std::ranges::any_of(
        entries, [&](const QueueEntry& entry) { return isSameName(entry.item.appName, filter.app); });
    if (filter.app.empty() || isInQueue) {
        co_return "";
    }
    const auto mappings = co_await service.mappings();
    const bool isMapped = std::ranges::any_of(
        mappings, [&](const AppMapping& mapping) { return isSameName(mapping.appName, filter.app); });
    co_return isMapped ? ""
                       : "No app is called \"" + withoutControls(filter.app) +
                             "\", in the queue or among the mappings; see: quernlight-dispatch map list";
}

Task<void> list(DispatchService& service, ListOptions given) {
    const QueueList queue = co_await service.queue();
    const std::vector<QueueEntry>& entries = queue.entries;
    for (const UnreadableBug& bug : queue.unreadable) {  // also where its list is read by a program
        std::cerr << withoutControls(bug.sentence) << std::endl;
    }
    const auto shown = filtered(entries, given.filter);
    const std::string trouble = co_await unknownApp(service, entries, given.filter);
    if (!trouble.empty()) {
        throw UserError(trouble);
    }
    CommandOutput output;
    if (given.json) {
        co_return output.printJson(shownAsJson(shown, queue.unreadable));
    }
    if (!shown.empty()) {
        output.print(queueTable(shown, currentInstant()));
    } else if (entries.empty() && queue.unreadable.empty()) {
        output.print("The queue is empty; bugs come in with: quernlight-dispatch run\n");
    } else {
        output.print("No bug of the queue is like that.\n");
    }
    output.print(leftOutText(entries, given.filter));
}

/// Of work in review also where it is reviewed.
Task<std::optional<ReviewItem>> reviewOf(DispatchService& service, Uuid itemID) {
    for (ReviewItem& review : co_await service.review()) {
        if (review.item.id == itemID) {
            co_return std::move(review);
        }
    }
    co_return std::nullopt;
}

Task<void> show(DispatchService& service, BugOptions given) {
    const QueueItemDetails details = co_await service.queueItem(given.bugID);
    std::optional<ReviewItem> review;
    if (details.stage == SessionStage::inReview) {
        review = co_await reviewOf(service, details.item.id);
    }
    CommandOutput output;
    if (given.json) {
        json::object object = jsonOf(details);
        object["pull_request"] = jsonIfAny(review ? review->pullRequest : std::nullopt);
        co_return output.printJson(object);
    }
    const Instant now = currentInstant();
    output.print(itemText(details, review, now, localOffset(now)));
    output.print("\n");
    output.print(historyTable(details.history, now, localOffset(now)));
}

Task<void> events(DispatchService& service, BugOptions given) {
    const QueueItemDetails details = co_await service.queueItem(given.bugID);
    CommandOutput output;
    if (given.json) {
        co_return output.printJson(
            jsonArray(details.history, [](const QueueEvent& event) { return jsonOf(event); }));
    }
    const Instant now = currentInstant();
    output.print(historyTable(details.history, now, localOffset(now)));
}

Task<void> change(DispatchService& service, QueueChange change, bool asJson) {
    const QueueAction action = change.action;
    const QueueEntry changed = co_await service.change(std::move(change));
    CommandOutput output;
    if (asJson) {
        co_return output.printJson(jsonOf(changed));
    }
    const std::string bug = withoutControls(changed.item.bugID + "  " + changed.item.title);
    const bool isStopping = action == QueueAction::cancel && isRunning(changed.stage);
    if (isStopping) {
        co_return output.print(bug + ": cancelled; its agent is being stopped\n");
    }
    if (const std::string pending = pendingWish(action, changed); !pending.empty()) {
        co_return output.print(bug + ": " + pending + "\n");
    }
    output.print(action == QueueAction::remove ? bug + " has been removed from the queue.\n"
                                               : bug + ": " + stageInQueue(changed) + "\n");
}

/// Whether a person wants finished work touched.
bool isConfirmed(const QueueChange& change) {
    const bool isRemoval = change.action == QueueAction::remove;
    const std::string id = withoutControls(BugID::normalized(change.bugID));
    const std::string bug = isRemoval ? "Bug " + id + " was worked on, and its history would be forgotten"
                                      : "The work on bug " + id + " is in review";
    if (!canAsk()) {
        throw UserError(bug + ", and there is no terminal to ask on; add --yes to have it " +
                        (isRemoval ? "removed." : "worked on again."));
    }
    return confirmed(bug + (isRemoval ? ". Remove it from the queue?" : ". Work on it again?"));
}

int queueList(const ListOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(list(*service, given));
}

int queueShow(const BugOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(show(*service, given));
}

int queueEvents(const BugOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(events(*service, given));
}

int queueChange(const ChangeOptions& given) {
    const auto service = serviceWithBackend({.home = given.home});
    try {
        return statusOf(change(*service, given.change, given.json));
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
    return statusOf(change(*service, std::move(agreed), given.json));
}

void addList(CLI::App& queue, ChosenCommand& chosen) {
    const auto options = std::make_shared<ListOptions>();
    CLI::App* app = queue.add_subcommand("list", "List them, those that need a person first");
    app->add_flag("--all", options->filter.all, "Also those in review, and cancelled ones");
    app->add_option("--app", options->filter.app, "Only those of the app with this name");
    addStateOption(*app, "--state", options->filter.stage, "Only those in this state, like \"in review\"");
    app->add_flag("--json", options->json, "As JSON: an array");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return queueList(*options); }; });
}

void addLook(CLI::App& queue, ChosenCommand& chosen, const char* name, const char* help,
             int (*command)(const BugOptions&)) {
    const auto options = std::make_shared<BugOptions>();
    CLI::App* app = queue.add_subcommand(name, help);
    addBugOption(*app, options->bugID);
    app->add_flag("--json", options->json, "As JSON");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen, command] { chosen = [options, command] { return command(*options); }; });
}

struct AddOptions {
    BackendChoice backend{};
    std::string bugID{};
    bool manual = false;
    bool json = false;
};

Task<void> add(DispatchService& service, AddOptions given) {
    const QueueMode mode = given.manual ? QueueMode::manual : QueueMode::automatic;
    const QueueEntry entry = co_await service.enqueue(std::move(given.bugID), mode);
    CommandOutput output;
    if (given.json) {
        co_return output.printJson(jsonOf(entry));
    }
    output.print(withoutControls(entry.item.bugID + "  " + entry.item.title) + ": " + stageInQueue(entry) +
                 "\n");
}

int queueAdd(const AddOptions& given) {
    const auto service = serviceWithBackend(given.backend);
    return statusOf(add(*service, given));
}

void addAdd(CLI::App& queue, ChosenCommand& chosen) {
    const auto options = std::make_shared<AddOptions>();
    CLI::App* app = queue.add_subcommand("add", "Take a bug of the backend in, whatever its status");
    addBugOption(*app, options->bugID);
    app->add_flag("--manual", options->manual, "Into the manual queue");
    app->add_flag("--json", options->json, "Print the bug in the queue, as JSON");
    addBackendOptions(*app, options->backend);
    app->callback([options, &chosen] { chosen = [options] { return queueAdd(*options); }; });
}

CLI::App* addChange(CLI::App& queue, ChosenCommand& chosen, QueueAction action, const char* help,
                    const std::shared_ptr<ChangeOptions>& options = std::make_shared<ChangeOptions>()) {
    options->change.action = action;
    CLI::App* app = queue.add_subcommand(std::string(nameOf(action)), help);
    addBugOption(*app, options->change.bugID);
    app->add_flag("--json", options->json, "Print the bug as it is then, as JSON");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return queueChange(*options); }; });
    return app;
}

void addRetry(CLI::App& queue, ChosenCommand& chosen) {
    const auto options = std::make_shared<ChangeOptions>();
    CLI::App* app = addChange(queue, chosen, QueueAction::retry,
                              "Queue a bug again that failed, asked or was cancelled", options);
    app->add_flag("--again", options->change.consent.again, "Also a bug whose work is completed; asks first");
    app->add_flag("--yes", options->change.consent.confirmed, "Do not ask");
}

void addMove(CLI::App& queue, ChosenCommand& chosen) {
    const auto options = std::make_shared<ChangeOptions>();
    CLI::App* app = addChange(queue, chosen, QueueAction::reorder,
                              "Put a waiting bug elsewhere in its queue; at the end by default", options);
    app->add_option("--before", options->change.before, "The waiting bug in front of which it goes");
}

void addRemove(CLI::App& queue, ChosenCommand& chosen) {
    const auto options = std::make_shared<ChangeOptions>();
    CLI::App* app = addChange(
        queue, chosen, QueueAction::remove,
        "Forget a bug with its history; it comes in again while it is open at the backend", options);
    app->add_flag("--yes", options->change.consent.confirmed,
                  "Do not ask, also for a bug that was worked on");
}

}  // namespace

void addQueueCommand(CLI::App& program, ChosenCommand& chosen) {
    CLI::App* queue = program.add_subcommand("queue", "The bugs in the queue");
    queue->require_subcommand(1);
    addList(*queue, chosen);
    addLook(*queue, chosen, "show", "Show one bug, what it waits for, and its history", queueShow);
    addLook(*queue, chosen, "events", "Print one bug's history", queueEvents);
    addAdd(*queue, chosen);
    using enum QueueAction;
    addChange(*queue, chosen, start, "Let a bug of the manual queue be started");
    addChange(*queue, chosen, next, "Put a waiting bug at the head of its queue");
    addMove(*queue, chosen);
    addRetry(*queue, chosen);
    addChange(*queue, chosen, cancel,
              "Take a bug out of its queue, but remember it; its agent, if any, is stopped");
    addChange(*queue, chosen, moveToManual, "Move a waiting bug to the manual queue");
    addChange(*queue, chosen, moveToAuto, "Move a waiting bug to the automatic queue");
    addRemove(*queue, chosen);
    addQueueWait(*queue, chosen);
}

}  // namespace quernlight::host
