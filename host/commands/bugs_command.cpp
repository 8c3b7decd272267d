#include <algorithm>
#include <iostream>
#include <iterator>
#include <memory>

#include <CLI/CLI.hpp>
#include <boost/json/array.hpp>

#include "host/commands/backend_call.hpp"
#include "host/commands/command_line.hpp"
#include "host/commands/command_output.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/process/user_error.hpp"
#include "host/service/bug_operations_json.hpp"
#include "host/service/bug_text.hpp"
#include "host/text/relative_time.hpp"
#include "host/text/terminal_text.hpp"
#include "host/tools/bug_json.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

struct BugsOptions {
    BackendChoice backend{};
    BugQuery query{};
    std::string bugID{};
    std::string status{};
    std::string link{};
    BugComment comment{};
    NewBug bug{};
    bool yes = false;
    bool any = false;  // of a status, known here or not
    bool json = false;
};

void say(const BugsOptions& given, const json::object& told, const std::string& sentence) {
    CommandOutput output;
    if (given.json) {
        return output.printJson(told);
    }
    output.print(withoutControls(sentence) + "\n");
}

Task<void> list(DispatchService& service, BugsOptions given) {
    const auto bugs = co_await service.bugs(given.query);
    CommandOutput output;
    if (given.json) {
        co_return output.printJson(shownBugs(bugs).at("bugs"));
    }
    if (bugs.empty()) {
        co_return output.print("The backend has no such bugs.\n");
    }
    output.print(bugTable(bugs, currentInstant()));
}

Task<void> show(DispatchService& service, BugsOptions given) {
    const QLBugDetailResponse detail = co_await service.bugDetail(given.bugID);
    CommandOutput output;
    if (given.json) {
        co_return output.printJson(shownBug(detail));
    }
    const Instant now = currentInstant();
    output.print(bugText(detail, now, localOffset(now)));
}

Task<void> file(DispatchService& service, BugsOptions given) {
    const QLCreateBugResponse filed = co_await service.fileBug(std::move(given.bug));
    say(given, jsonOf(filed), "Filed as bug " + filed.id + ".");
}

Task<void> comment(DispatchService& service, BugsOptions given) {
    const QLCommentDTO posted = co_await service.comment(std::move(given.comment));
    say(given, shownComment(posted), "The comment is on bug " + posted.bugID + ".");
}

Task<void> setStatus(DispatchService& service, BugsOptions given) {
    co_await service.setBugStatus(given.bugID, given.status);
    say(given, {{"bug", given.bugID}, {"status", given.status}},
        "Bug " + given.bugID + " has the status \"" + given.status + "\" now.");
}

Task<void> setLink(DispatchService& service, BugsOptions given) {
    std::optional<Url> link;
    if (!given.link.empty()) {
        link = Url::parse(given.link);
        if (!link) {
            throw UserError("The link \"" + given.link + "\" is no URL; nothing was changed.");
        }
    }
    co_await service.setPullRequest(given.bugID, link);
    say(given,
        {{"bug", given.bugID}, {"pull_request", link ? json::value(link->text()) : json::value(nullptr)}},
        "Bug " + given.bugID +
            (link ? " has the pull request " + link->text() + " now."
                  : std::string(" has no pull request now.")));
}

Task<void> remove(DispatchService& service, BugsOptions given) {
    co_await service.deleteBug(given.bugID);
    say(given, {{"bug", given.bugID}}, "Bug " + given.bugID + " is deleted at the backend.");
}

using Operation = Task<void> (*)(DispatchService&, BugsOptions);

int runOn(const BugsOptions& given, Operation operation) {
    const auto service = serviceWithBackend(given.backend);
    return statusOf(operation(*service, given));
}

Task<void> describe(DispatchService& service, std::string bugID, std::string& description) {
    const QLBugDetailResponse detail = co_await service.bugDetail(std::move(bugID));
    description = withoutControls("Bug " + detail.bug.id + " (" + detail.bug.title + ")");
}

/// Nobody gets a deleted bug back, so a person sees which one it is.
int removeBug(const BugsOptions& given) {
    std::string bug = "Bug " + withoutControls(given.bugID);
    if (!given.yes && canAsk()) {
        const auto service = serviceWithBackend(given.backend);
        if (const int status = statusOf(describe(*service, given.bugID, bug)); status != 0) {
            return status;
        }
    }
    if (!given.yes && !canAsk()) {
        throw UserError(bug + " would be deleted for good, and there is no terminal to ask on; add --yes.");
    }
    if (!given.yes &&
        !confirmed(bug + " with its comments is deleted at the backend, for good. Delete it?")) {
        std::cout << "Nothing was changed." << std::endl;
        return 1;
    }
    return runOn(given, remove);
}

struct Declared {
    CLI::App* app;
    std::shared_ptr<BugsOptions> options;
};

Declared declare(CLI::App& bugs, ChosenCommand& chosen, const char* name, const char* help,
                 Operation operation) {
    const auto options = std::make_shared<BugsOptions>();
    CLI::App* app = bugs.add_subcommand(name, help);
    app->add_flag("--json", options->json, "As JSON");
    addBackendOptions(*app, options->backend);
    app->callback([options, &chosen, operation] {
        chosen = [options, operation] { return runOn(*options, operation); };
    });
    return {app, options};
}

std::string givenBody(const std::string& text) {
    if (text != "-") {
        return text;
    }
    return {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
}

/// A mistyped one would take the bug out of all lists.
void requireStatus(const BugsOptions& given) {
    const BugQuery known;
    if (!given.any && std::ranges::find(known.statuses, given.status) == known.statuses.end()) {
        throw CLI::ValidationError(
            "\"" + given.status +
            "\" is no status that is known here; there are: open, investigate, in_review");
    }
}

void addComment(CLI::App& bugs, ChosenCommand& chosen) {
    const auto [app, options] = declare(bugs, chosen, "comment", "Comment on a bug, as a person", comment);
    addBugOption(*app, options->comment.bugID);
    app->add_option_function<std::string>(
           "text", [given = options](const std::string& text) { given->comment.body = givenBody(text); },
           "The comment; \"-\" reads it from standard input")
        ->required();
    app->add_option_function<std::vector<std::string>>(
        "--attach",
        [given = options](const std::vector<std::string>& files) {
            for (const std::string& path : files) {
                given->comment.attachments.push_back(std::filesystem::absolute(givenPath(path)));
            }
        },
        "A file to attach; may be given several times");
}

void addFile(CLI::App& bugs, ChosenCommand& chosen) {
    const auto [app, options] = declare(bugs, chosen, "file", "File a bug", file);
    app->add_option("--bundle", options->bug.bundleID, "The app's bundle identifier")->required();
    app->add_option("--title", options->bug.title, "What is wrong, in one line")->required();
    app->add_option_function<std::string>(
        "--description",
        [given = options](const std::string& text) { given->bug.description = givenBody(text); },
        "All of it; \"-\" reads it from standard input");
}

void addList(CLI::App& bugs, ChosenCommand& chosen) {
    const auto [app, options] = declare(
        bugs, chosen, "list", "List the backend's bugs that are open, asked about or in review", list);
    app->add_option_function<std::vector<std::string>>(
        "--status", [given = options](const std::vector<std::string>& all) { given->query.statuses = all; },
        "Only those with this status; may be given several times");
    app->add_option("--limit", options->query.limit, "At most so many of each status")
        ->check(CLI::Range(1, 10000))
        ->capture_default_str();
}

}  // namespace

void addBugsCommand(CLI::App& program, ChosenCommand& chosen) {
    CLI::App* bugs = program.add_subcommand("bugs", "The bugs at the backend");
    bugs->require_subcommand(1);
    addList(*bugs, chosen);
    const auto shown =
        declare(*bugs, chosen, "show", "Show a bug with its device, attachments and comments", show);
    addBugOption(*shown.app, shown.options->bugID);
    addFile(*bugs, chosen);
    addComment(*bugs, chosen);
    const auto status = declare(*bugs, chosen, "status", "Set a bug's status", setStatus);
    addBugOption(*status.app, status.options->bugID);
    status.app->add_option("status", status.options->status, "open, investigate or in_review")->required();
    status.app->add_flag("--any", status.options->any, "Also another word, if the backend knows it");
    status.app->parse_complete_callback([given = status.options] { requireStatus(*given); });
    const auto link = declare(*bugs, chosen, "pr", "Set a bug's pull request, or clear it", setLink);
    addBugOption(*link.app, link.options->bugID);
    link.app->add_option("url", link.options->link, "Its address; nothing clears it");
    const auto deleted = declare(*bugs, chosen, "delete", "Delete a bug at the backend; asks first", remove);
    addBugOption(*deleted.app, deleted.options->bugID);
    deleted.app->add_flag("--yes", deleted.options->yes, "Do not ask");
    deleted.app->callback(
        [options = deleted.options, &chosen] { chosen = [options] { return removeBug(*options); }; });
}

}  // namespace quernlight::host
