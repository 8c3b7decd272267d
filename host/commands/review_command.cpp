#include <memory>

#include <CLI/CLI.hpp>
#include <boost/json/array.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/command_output.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/service/json_fields.hpp"
#include "host/service/observation_json.hpp"
#include "host/text/relative_time.hpp"

namespace quernlight::host {
namespace {

struct ReviewOptions {
    ChosenHome home{};
    bool json = false;
};

Task<void> list(DispatchService& service, bool asJson) {
    const auto review = co_await service.review();
    CommandOutput output;
    if (asJson) {
        co_return output.printJson(jsonArray(review, [](const ReviewItem& item) { return jsonOf(item); }));
    }
    if (review.empty()) {
        co_return output.print("No work waits to be merged.\n");
    }
    const Instant now = currentInstant();
    Table table({"BUG", "APP", "SINCE", "BRANCH", "PULL REQUEST", flexible("TITLE")});
    for (const ReviewItem& waiting : review) {
        const BugQueueItem& item = waiting.item;
        table.add({item.bugID, item.appName, item.completedAt ? timeAgo(*item.completedAt, now) : "",
                   waiting.branch, waiting.pullRequest ? waiting.pullRequest->text() : "-", item.title});
    }
    output.print(table);
}

int reviewList(const ReviewOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(list(*service, given.json));
}

}  // namespace

void addReviewCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<ReviewOptions>();
    CLI::App* review = program.add_subcommand("review", "Work that waits to be merged");
    review->require_subcommand(1);
    CLI::App* app =
        review->add_subcommand("list", "List it; the pull requests are known while the dispatcher runs");
    app->add_flag("--json", options->json, "As JSON: an array");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return reviewList(*options); }; });
}

}  // namespace quernlight::host
