#include "host/commands/completion_command.hpp"

#include <algorithm>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/events/session_stage.hpp"
#include "host/manual/completion.hpp"
#include "host/manual/completion_script.hpp"
#include "host/service/direct_service.hpp"
#include "host/service/preserved_operations.hpp"
#include "host/settings/setting_descriptions.hpp"
#include "quernlight/platform/identifiers.hpp"

namespace quernlight::host {
namespace {

using Candidates = std::vector<Candidate>;

ChosenHome homeOf(const Completion& completion) {
    return completion.home ? ChosenHome(std::filesystem::path(withUserHome(*completion.home))) : std::nullopt;
}

DirectService serviceOf(const Completion& completion) {
    return DirectService(std::make_unique<HomeAccess>(homeOf(completion)));
}

Task<void> readBugs(DispatchService& service, Candidates& candidates) {
    const QueueList queue = co_await service.queue();
    for (const QueueEntry& entry : queue.entries) {
        candidates.push_back({BugID::normalized(entry.item.bugID),
                              std::string(statusText(entry.stage)) + ": " + entry.item.title});
    }
}

Task<void> readBundles(DispatchService& service, Candidates& candidates) {
    const std::vector<AppMapping> mappings = co_await service.mappings();
    for (const AppMapping& mapping : mappings) {
        candidates.push_back({mapping.bundleID, mapping.appName});
    }
}

/// With whether it is in its base not looked at, which takes long.
Task<void> readPreserved(HomeAccess& access, Candidates& candidates) {
    GitSlots slots(1);
    const PreservedList kept = co_await keptWorks(access, slots);
    for (const PreservedWork& work : kept.works) {
        candidates.push_back({work.name, work.appName});
    }
}

Candidates settingNames() {
    Candidates names;
    for (const SettingDescription& setting : settingDescriptions()) {
        names.push_back({std::string(setting.key), std::string(setting.help)});
    }
    return names;
}

/// Of the setting that stands before it; only those of a setting that is on or off can be listed.
Candidates settingValues(const Completion& completion) {
    const auto settings = settingDescriptions();
    const auto setting = std::ranges::find_if(settings, [&](const SettingDescription& description) {
        return !completion.arguments.empty() && description.key == completion.arguments.back();
    });
    const bool isFlag =
        setting != settings.end() && std::holds_alternative<bool Settings::*>(setting->member);
    return isFlag ? Candidates{{"true", ""}, {"false", ""}} : Candidates();
}

Candidates shellNames() {
    Candidates names;
    for (const std::string_view shell : completedShells()) {
        names.push_back({std::string(shell), ""});
    }
    return names;
}

/// Those of a home; throws what reading it throws.
Candidates storedValues(const Completion& completion) {
    Candidates candidates;
    if (completion.value == "WORK") {
        HomeAccess access(homeOf(completion));
        statusOf(readPreserved(access, candidates));
    }
    if (completion.value == "BUG" || completion.value == "BUNDLE") {
        DirectService service = serviceOf(completion);
        statusOf(completion.value == "BUG" ? readBugs(service, candidates)
                                           : readBundles(service, candidates));
    }
    return candidates;
}

Candidates valuesFor(const Completion& completion) {
    if (completion.value == "SETTING") {
        return settingNames();
    }
    if (completion.value == "VALUE") {
        return settingValues(completion);
    }
    return completion.value == "SHELL" ? shellNames() : storedValues(completion);
}

int printScript(const std::string& shell) {
    std::cout << completionScript(shell) << std::flush;
    return 0;
}

}  // namespace

/// Whoever presses a key wants no sentence about what cannot be read.
int completeWords(const CommandDescription& program, const std::vector<std::string>& words) {
    try {
        const Completion completion = completionOf(program, words);
        Candidates candidates = valuesFor(completion);
        candidates.insert(candidates.end(), completion.candidates.begin(), completion.candidates.end());
        std::cout << shellDirective(completion.value) << candidateLines(completion, candidates) << std::flush;
    } catch (const std::exception&) {
        return 0;
    }
    return 0;
}

void addCompletionCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto shell = std::make_shared<std::string>();
    CLI::App* app =
        program.add_subcommand("completion", "Print what makes a shell complete commands, options and bugs");
    const auto names = completedShells();
    app->add_option("shell", *shell, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember(std::vector<std::string>(names.begin(), names.end())));
    app->callback([shell, &chosen] { chosen = [shell] { return printScript(*shell); }; });
}

}  // namespace quernlight::host
