#include <filesystem>
#include <memory>

#include <CLI/CLI.hpp>
#include <boost/json/array.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/command_output.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/process/user_error.hpp"
#include "host/service/preserved_json.hpp"
#include "host/text/relative_time.hpp"
#include "host/text/shell_text.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

struct PreservedOptions {
    ChosenHome home{};
    RestoreRequest request{};
    bool json = false;
};

const char* containmentText(Containment containment) {
    switch (containment) {
        case Containment::yes:
            return "yes";
        case Containment::no:
            return "no";
        case Containment::unknown:
            break;
    }
    return "unknown";
}

std::string linesText(std::int64_t added, std::int64_t deleted) {
    return "+" + std::to_string(added) + " -" + std::to_string(deleted);
}

/// Every repository that can be asked is listed before another one makes the command fail.
Task<void> list(DispatchService& service, PreservedOptions given) {
    const ListRange all;
    const PreservedList kept = co_await service.preserved(all);
    CommandOutput output;
    if (given.json) {
        co_return output.printJson(jsonOf(kept));
    }
    const Instant now = currentInstant();
    Table table({"BUG", "APP", "KEPT", "COMMITS", "FILES", "LINES", "IN BASE", flexible("NAME")});
    for (const PreservedWork& work : kept.works) {
        table.add({work.bugID, work.appName, timeAgo(work.keptAt, now), std::to_string(work.commits),
                   std::to_string(work.files), linesText(work.added, work.deleted),
                   containmentText(work.contained), work.name});
    }
    if (!kept.works.empty()) {
        output.print(table);
    } else if (kept.troubles.empty()) {
        output.print("Nothing is kept in the repositories that are mapped.\n");
    }
    for (const std::string& trouble : kept.troubles) {
        output.print("Not looked at: " + withoutControls(trouble) + "\n");
    }
}

std::string headText(const PreservedWork& work, Instant now) {
    return withoutControls(work.name) + ": work on bug " + withoutControls(work.bugID) + " of " +
           withoutControls(work.appName) + ", kept " + timeAgo(work.keptAt, now) +
           "\nreference:  " + withoutControls(work.reference) +
           "\ncommit:     " + withoutControls(work.commit) +
           "\nrepository: " + withoutControls(work.repository) +
           "\nin base:    " + containmentText(work.contained) +
           (work.base.empty() ? "" : " (" + withoutControls(work.base) + ")") + "\n";
}

std::string othersText(const std::vector<std::string>& others) {
    std::string names;
    for (const std::string& name : others) {
        names += (names.empty() ? "" : ", ") + withoutControls(name);
    }
    return names.empty() ? "" : "also kept:  " + names + "\n";
}

std::string moreText(std::int64_t all, std::size_t shown, const char* words) {
    const std::int64_t more = all - static_cast<std::int64_t>(shown);
    return more > 0 ? "and " + std::to_string(more) + " more " + words + "\n" : "";
}

std::string countText(const std::optional<std::int64_t>& lines) {
    return lines ? std::to_string(*lines) : "-";
}

Task<void> show(DispatchService& service, PreservedOptions given) {
    const PreservedDetails details = co_await service.preservedWork(given.request.name);
    CommandOutput output;
    if (given.json) {
        co_return output.printJson(jsonOf(details));
    }
    constexpr std::size_t idLength = 10;
    const Instant now = currentInstant();
    output.print(headText(details.work, now) + othersText(details.others) + "\n");
    Table commits({"COMMIT", "MADE", "BY", flexible("SUBJECT")});
    for (const PreservedCommit& commit : details.commits) {
        commits.add(
            {commit.id.substr(0, idLength), timeAgo(commit.time, now), commit.author, commit.subject});
    }
    output.print(commits);
    output.print(moreText(details.work.commits, details.commits.size(), "commits") + "\n");
    Table files({"ADDED", "DELETED", flexible("FILE")});
    for (const PreservedFile& file : details.files) {
        files.add({countText(file.added), countText(file.deleted), file.path});
    }
    output.print(files);
    output.print(moreText(details.work.files, details.files.size(), "files"));
}

Task<void> restore(DispatchService& service, PreservedOptions given) {
    const RestoredWork restored = co_await service.restorePreserved(given.request);
    CommandOutput output;
    if (given.json) {
        co_return output.printJson(jsonOf(restored));
    }
    const std::string branch = restored.branch ? "branch " + withoutControls(*restored.branch) : "";
    const std::string place = restored.directory ? withoutControls(*restored.directory) : "";
    output.print(withoutControls(restored.work.name) + " is in " +
                 (place.empty() ? branch + " of " + withoutControls(restored.work.repository)
                                : place + (branch.empty() ? "" : ", on " + branch)) +
                 " now; it is still kept at " + withoutControls(restored.work.reference) + "\n");
}

using Operation = Task<void> (*)(DispatchService&, PreservedOptions);

int runOn(const PreservedOptions& given, Operation operation) {
    const auto service = serviceFor(given.home);
    return statusOf(operation(*service, given));
}

struct Declared {
    CLI::App* app;
    std::shared_ptr<PreservedOptions> options;
};

Declared declare(CLI::App& preserved, ChosenCommand& chosen, const char* name, const char* help,
                 Operation operation) {
    const auto options = std::make_shared<PreservedOptions>();
    CLI::App* app = preserved.add_subcommand(name, help);
    app->add_flag("--json", options->json, "As JSON: an object");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen, operation] {
        chosen = [options, operation] { return runOn(*options, operation); };
    });
    return {app, options};
}

void addName(const Declared& declared) {
    declared.app
        ->add_option("work", declared.options->request.name,
                     "Its name as listed, its reference, or its bug where nothing else is kept of that")
        ->required()
        ->check([](const std::string& given) {
            return trimmed(given).empty() ? "the name is empty; see: quernlight-dispatch preserved list" : "";
        });
}

}  // namespace

void addPreservedCommand(CLI::App& program, ChosenCommand& chosen) {
    CLI::App* preserved = program.add_subcommand("preserved", "Work that was kept of worktrees that went");
    preserved->require_subcommand(1);
    declare(*preserved, chosen, "list", "List it, the newest first", list);
    addName(declare(*preserved, chosen, "show", "Show its commits and files", show));
    const Declared restored = declare(*preserved, chosen, "restore",
                                      "Put it into a worktree, a branch or both; it stays kept", restore);
    addName(restored);
    restored.app->add_option_function<std::string>(
        "--to",
        [options = restored.options](const std::string& path) {
            options->request.directory = std::filesystem::absolute(givenPath(path)).string();
        },
        "A directory for the worktree, which must not be there");
    restored.app->add_option("--branch", restored.options->request.branch,
                             "A branch, which must not be there");
}

}  // namespace quernlight::host
