#include <algorithm>
#include <memory>

#include <CLI/CLI.hpp>
#include <boost/json/array.hpp>

#include "host/commands/backend_call.hpp"
#include "host/commands/command_line.hpp"
#include "host/commands/command_output.hpp"
#include "host/commands/service_call.hpp"
#include "host/service/json_fields.hpp"
#include "host/service/review_json.hpp"
#include "host/text/relative_time.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

struct ReviewOptions {
    BackendChoice backend{};
    bool dryRun = false;
    bool json = false;
};

/// What a person sees of both states.
TableCell mergeCell(const ReviewState& review) {
    if (review.merge == MergeState::merged) {
        return {"merged"};
    }
    if (review.merge == MergeState::unknown) {
        return {"unknown"};
    }
    switch (review.conflict) {
        case ConflictState::none:
            return {"merges cleanly"};
        case ConflictState::conflicts:
            return {std::string("conflicts"), CellEmphasis::attention};
        case ConflictState::unknown:
            break;
    }
    return {"open"};
}

/// With where its work lies, as far as that is known.
json::object whole(const ReviewState& review, const std::vector<ReviewItem>& items) {
    json::object object = jsonOf(review);
    const auto item =
        std::ranges::find_if(items, [&](const ReviewItem& each) { return each.item.id == review.item.id; });
    const bool isKnown = item != items.end();
    object["worktree"] = jsonIfAny(isKnown ? item->worktree : std::nullopt);
    object["repository"] = jsonIfAny(isKnown ? item->repository : std::nullopt);
    return object;
}

Task<void> list(DispatchService& service, ReviewOptions given) {
    const ListRange all;
    const auto reviews = (co_await service.reviewStates(all)).states;
    CommandOutput output;
    if (given.json) {
        const auto items = co_await service.review();
        co_return output.printJson(
            jsonArray(reviews, [&](const ReviewState& review) { return whole(review, items); }));
    }
    if (reviews.empty()) {
        co_return output.print("No work waits to be merged.\n");
    }
    const Instant now = currentInstant();
    Table table({"BUG", "APP", "SINCE", "MERGE", "BRANCH", "PULL REQUEST", flexible("TITLE")});
    for (const ReviewState& review : reviews) {
        const BugQueueItem& item = review.item;
        table.add({item.bugID, item.appName, item.completedAt ? timeAgo(*item.completedAt, now) : "",
                   mergeCell(review), review.branch, review.pullRequest ? review.pullRequest->text() : "-",
                   item.title});
    }
    output.print(table);
    for (const ReviewState& review : reviews) {
        if (!review.trouble.empty()) {
            output.print(withoutControls(review.item.bugID + ": " + review.trouble) + "\n");
        }
    }
}

std::string keptText(const ReapedBug& reaped, bool dryRun) {
    if (reaped.preserved.empty()) {
        return "";
    }
    return dryRun ? " Would be kept: " + reaped.preserved + "."
                  : " Its work that no remote had is kept at " + reaped.preserved + ".";
}

Task<void> reap(DispatchService& service, ReviewOptions given) {
    const auto reviews = co_await service.reap(given.dryRun);
    CommandOutput output;
    if (given.json) {
        co_return output.printJson(jsonArray(reviews, [](const ReapedBug& bug) { return jsonOf(bug); }));
    }
    if (reviews.empty()) {
        output.print("No work waits to be merged.\n");
    }
    for (const ReapedBug& bug : reviews) {
        output.print(withoutControls(bug.bugID + "  " + bug.title + ": " + bug.sentence +
                                     keptText(bug, given.dryRun)) +
                     "\n");
    }
}

using Operation = Task<void> (*)(DispatchService&, ReviewOptions);

int runOn(const ReviewOptions& given, Operation operation) {
    const auto service = serviceWithBackend(given.backend);
    return statusOf(operation(*service, given));
}

CLI::App* declare(CLI::App& review, ChosenCommand& chosen, const char* name, const char* help,
                  Operation operation, const std::shared_ptr<ReviewOptions>& options) {
    CLI::App* app = review.add_subcommand(name, help);
    app->add_flag("--json", options->json, "As JSON: an array");
    addBackendOptions(*app, options->backend);
    app->callback([options, &chosen, operation] {
        chosen = [options, operation] { return runOn(*options, operation); };
    });
    return app;
}

}  // namespace

void addReviewCommand(CLI::App& program, ChosenCommand& chosen) {
    CLI::App* review = program.add_subcommand("review", "Work that waits to be merged");
    review->require_subcommand(1);
    declare(*review, chosen, "list", "List it, and whether it is merged, or would merge cleanly", list,
            std::make_shared<ReviewOptions>());
    const auto options = std::make_shared<ReviewOptions>();
    declare(*review, chosen, "reap",
            "Retire the bugs whose pull request is merged: they leave the queue, and their worktrees go",
            reap, options)
        ->add_flag("--dry-run", options->dryRun, "Only say what would go, and what would be kept of it");
}

}  // namespace quernlight::host
