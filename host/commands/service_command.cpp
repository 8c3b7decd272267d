#include <iostream>
#include <memory>

#include <unistd.h>
#include <CLI/CLI.hpp>
#include <boost/json/serialize.hpp>

#include "host/autostart/service_file.hpp"
#include "host/autostart/service_report.hpp"
#include "host/commands/command_line.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/run_options.hpp"
#include "host/commands/service_call.hpp"
#include "host/process/dispatch_home.hpp"
#include "host/process/private_files.hpp"
#include "host/process/token_file.hpp"
#include "host/process/user_error.hpp"
#include "host/settings/backend_address.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/process_table.hpp"

namespace quernlight::host {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;

struct ServiceOptions {
    ChosenHome home{};
    std::optional<fs::path> tokenFile{};
    RunChoices choices{};
    bool yes = false, dryRun = false, json = false;
};

const ServiceSystem thisSystem = serviceSystem();

/// What an installation is about to do.
struct Installation {
    UserService service{};
    fs::path file{};
    std::string text{};
};

/// As `run` would take it when it were given none.
std::optional<fs::path> tokenFileOf(const ServiceOptions& given, const EnvironmentMap& environment) {
    const auto named = environment.find("QUERNLIGHT_TOKEN_FILE");
    const bool isNamed = named != environment.end() && !named->second.empty();
    if (given.tokenFile) {
        return fs::absolute(*given.tokenFile).lexically_normal();
    }
    return isNamed ? std::optional(fs::absolute(named->second).lexically_normal()) : std::nullopt;
}

Installation planned(const ServiceOptions& given) {
    const EnvironmentMap environment = currentEnvironmentMap();
    const fs::path home = locateDispatchHome(given.home);
    if (given.choices.backend) {
        parseBackendAddress(*given.choices.backend);
    }
    UserService service{.program = programLocation(),
                        .home = home,
                        .tokenFile = tokenFileOf(given, environment),
                        .options = optionsOf(given.choices),
                        .environment = serviceEnvironment(environment),
                        .logFile = home / serviceLogName};
    std::string text = serviceFileText(thisSystem, service);
    return {.service = std::move(service),
            .file = serviceFilePlace(thisSystem, environment),
            .text = std::move(text)};
}

/// The file, and in one sentence what was done; "changed" says whether anything was.
void printDone(const ServiceOptions& given, const fs::path& file, bool isChanged,
               const std::string& sentence) {
    if (given.json) {
        const json::object done{{"file", file.string()}, {"changed", isChanged}, {"sentence", sentence}};
        std::cout << escapedJson(json::serialize(done)) << std::endl;
    } else {
        std::cout << withoutControls(sentence) << std::endl;
    }
}

void show(const Installation& plan) {
    std::cout << "# " << withoutControls(plan.file.string()) << "\n" << plan.text << std::flush;
}

/// What would only be found out from the log, later.
Task<void> requireReady(Installation plan, bool namesBackend) {
    requireOurs(plan.file);
    if (plan.service.tokenFile) {
        readToken(*plan.service.tokenFile);
    }
    if (namesBackend) {
        co_return;
    }
    const auto service = serviceFor(plan.service.home);
    const SettingValue backend = co_await service->setting("backend.url");
    if (backend.text.empty()) {
        throw UserError(
            "No backend is set, so the service would have nothing to do; set it first with: "
            "quernlight-dispatch config set backend.url URL");
    }
}

bool isAgreed(const ServiceOptions& given) {
    if (given.yes) {
        return true;
    }
    if (!canAsk()) {
        throw UserError("There is no terminal to ask on whether this may be written; add --yes.");
    }
    return confirmed("Write this file, and start the dispatcher now and at every login?");
}

Task<ServiceReport> reported(EnvironmentMap environment) {
    ServiceReport report{.system = thisSystem, .file = serviceFilePlace(thisSystem, environment)};
    report.text = readServiceFile(report.file);
    report.state = co_await askState(thisSystem, std::move(environment));
    co_return report;
}

Task<void> carryOut(ServiceOptions given, Installation plan) {
    const EnvironmentMap environment = currentEnvironmentMap();
    const ServiceReport before = co_await reported(environment);
    const bool runs = before.state.isRunning && before.state.isEnabled;
    if (runs && before.text == plan.text) {
        co_return printDone(given, plan.file, false,
                            "It is installed so and runs already; nothing was changed.");
    }
    if (!before.state.isRunning) {
        const HomeLock free(plan.service.home);  // else it would end at once, for the home has an owner
    }
    makePrivateFile(plan.service.logFile);
    writeServiceFile(plan.file, plan.text);
    ManagerCommands commands = startCommands(thisSystem, plan.file, getuid());
    if (before.state.noManager) {
        co_return printDone(given, plan.file, true,
                            withoutManager(before) + "; the file is written, and where there is one, type: " +
                                shellLine(commands));
    }
    co_await tellManager(std::move(commands), environment);
    printDone(given, plan.file, true,
              "The dispatcher is started, now and at every login. Its log: " + plan.service.logFile.string() +
                  "; whether it runs is told by: quernlight-dispatch service status");
}

int install(const ServiceOptions& given) {
    const Installation plan = planned(given);
    if (given.dryRun) {
        if (given.json) {
            const json::object file{{"file", plan.file.string()}, {"text", plan.text}};
            std::cout << escapedJson(json::serialize(file)) << std::endl;
        } else {
            show(plan);
        }
        return 0;
    }
    if (given.json && !given.yes) {
        throw UserError("With --json nobody is asked whether this may be written; add --yes, or --dry-run.");
    }
    const int notReady = statusOf(requireReady(plan, given.choices.backend.has_value()));
    if (notReady != 0) {
        return notReady;
    }
    if (!given.json) {
        show(plan);
    }
    if (!isAgreed(given)) {
        std::cout << "Nothing was written." << std::endl;
        return 1;
    }
    return statusOf(carryOut(given, plan));
}

Task<void> remove(ServiceOptions given) {
    const EnvironmentMap environment = currentEnvironmentMap();
    const ServiceReport report = co_await reported(environment);
    const std::string file = report.file.string();
    if (!report.text) {
        co_return printDone(given, report.file, false, "No service is installed: there is no " + file);
    }
    requireOurs(report.file);
    if (report.state.noManager) {
        removeServiceFile(report.file);
        co_return printDone(given, report.file, true,
                            withoutManager(report) + ", so nothing was stopped; the file is removed.");
    }
    co_await tellManager(stopCommands(thisSystem, getuid()), environment);
    removeServiceFile(report.file);
    co_await tellManager(forgetCommands(thisSystem), environment);
    printDone(given, report.file, true,
              "The service is stopped, and " + file + " removed; its log is left in the home.");
}

Task<void> tellStatus(bool asJson) {
    const ServiceReport report = co_await reported(currentEnvironmentMap());
    if (asJson) {
        std::cout << escapedJson(json::serialize(serviceJson(report))) << std::endl;
    } else {
        std::cout << serviceText(report) << std::flush;
    }
}

int uninstall(const ServiceOptions& given) {
    return statusOf(remove(given));
}

int status(const ServiceOptions& given) {
    return statusOf(tellStatus(given.json));
}

using Command = int (*)(const ServiceOptions&);

CLI::App* add(CLI::App& service, const char* name, const char* help,
              const std::shared_ptr<ServiceOptions>& options, ChosenCommand& chosen, Command command) {
    CLI::App* app = service.add_subcommand(name, help);
    app->add_flag("--json", options->json, "As JSON: an object");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen, command] { chosen = [options, command] { return command(*options); }; });
    return app;
}

}  // namespace

void addServiceCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<ServiceOptions>();
    CLI::App* service =
        program.add_subcommand("service", "The user service that runs the dispatcher at login");
    service->require_subcommand(1);
    CLI::App* installing = add(*service, "install", "Show its file, ask, write it and start the service",
                               options, chosen, install);
    addPathOption(*installing, "--token-file", options->tokenFile,
                  "File that holds the administrator token; the service's file only names it");
    addRunChoices(*installing, options->choices);
    installing->add_flag("--yes", options->yes, "Do not ask");
    installing->add_flag("--dry-run", options->dryRun, "Only show the file");
    add(*service, "uninstall", "Stop the service and remove its file", options, chosen, uninstall);
    add(*service, "status", "Say whether it is installed and runs, and where its log is", options, chosen,
        status);
}

}  // namespace quernlight::host
