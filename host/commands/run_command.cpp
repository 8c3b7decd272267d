#include <chrono>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>

#include "host/app/dispatch_program.hpp"
#include "host/autostart/user_service.hpp"
#include "host/commands/command_line.hpp"
#include "host/commands/dry_run.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/run_options.hpp"
#include "host/control/control_socket.hpp"
#include "host/events/run_tally.hpp"
#include "host/process/core_dumps.hpp"
#include "host/process/dispatch_home.hpp"
#include "host/process/event_loop.hpp"
#include "host/process/home_lock.hpp"
#include "host/process/private_files.hpp"
#include "host/process/user_error.hpp"
#include "host/settings/backend_address.hpp"
#include "quernlight/platform/process_table.hpp"

namespace quernlight::host {
namespace {

struct RunOptions {
    std::optional<std::filesystem::path> tokenFile;  ///< absent: see tokenSource
    std::optional<std::filesystem::path> home;
    RunChoices choices;
    std::optional<std::string> logFile;
    bool once = false;
    bool dryRun = false;
};

std::optional<Url> givenBackend(const RunOptions& options) {
    const auto& backend = options.choices.backend;
    return backend ? std::optional(parseBackendAddress(*backend)) : std::nullopt;
}

int tellDryRun(const RunOptions& options, const std::optional<Url>& backend) {
    if (options.logFile) {
        checkLogFile(*options.logFile);
    }
    boost::asio::io_context io;
    DryRun dry{.home = locateDispatchHome(options.home),
               .backend = backend,
               .tokenFile = options.tokenFile,
               .settings = options.choices.settings};
    return runUnlessInterrupted(io, dryRun(std::move(dry), std::cout)) ? 130 : 0;
}

bool dispatcherListens(const std::filesystem::path& home) {
    const std::filesystem::path path = controlSocketPath(home);
    if (isTooLongForSocket(path)) {
        return false;
    }
    using boost::asio::local::stream_protocol;
    boost::asio::io_context io;
    stream_protocol::socket socket(io);
    boost::system::error_code error;
    socket.connect(stream_protocol::endpoint(path.string()), error);
    return !error;
}

/// Where no dispatcher runs a command may own the home, for some seconds at most; then it is waited for.
HomeLock ownersLock(const std::filesystem::path& home) {
    constexpr std::chrono::seconds longest{15};
    constexpr std::chrono::milliseconds step{250};
    const auto deadline = std::chrono::steady_clock::now() + longest;
    while (true) {
        try {
            return HomeLock(home, step);
        } catch (const HomeOwnedError&) {
            if (std::chrono::steady_clock::now() >= deadline || dispatcherListens(home)) {
                throw;
            }
        }
    }
}

/// Moves the backend's bugs along until it is stopped, or with `once` until nothing is left to do.
int runCommand(const RunOptions& options) {
    switchOffCoreDumps();
    const auto backend = givenBackend(options);
    if (options.dryRun) {
        return tellDryRun(options, backend);
    }
    const auto home = openDispatchHome(options.home);
    const HomeLock lock = ownersLock(home);
    protectTree(home / "sessions");
    StopRequest stop;
    boost::asio::io_context io;
    const ViewOptions viewOptions{.format = options.choices.logJson ? LogFormat::jsonLines : LogFormat::text,
                                  .logFile = options.logFile,
                                  .serviceLog = home / serviceLogName};
    EventPublisher events;
    RunTally tally;
    const auto counting = events.subscribe([&tally](const DispatchEvent& event) { tally.handle(event); });
    Views views(io.get_executor(), events, viewOptions);
    DispatchProgramOptions program{.home = home,
                                   .lock = &lock,
                                   .backend = backend,
                                   .tokenFile = options.tokenFile,
                                   .listenPort = options.choices.listenPort,
                                   .toolServer = programLocation(),
                                   .environment = currentEnvironmentMap(),
                                   .settings = options.choices.settings,
                                   .dispatcher = {.once = options.once}};
    const StopSignals wishes =
        runWithSignals(io, dispatchBugs(std::move(program), events, views, stop), [&](int count) {
            const StopLevel level = stopLevel(count);
            events.notice(std::string(stopSentence(level)));
            stop.raise(level);
        });
    const auto failures = tally.failureSentence();
    if (options.once && failures && !stop.isStopping()) {
        throw UserError(*failures);
    }
    return wishes.exitStatus();
}

}  // namespace

void addRunCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<RunOptions>();
    CLI::App* run = program.add_subcommand("run", "Work on a backend's bugs");
    addPathOption(
        *run, "--token-file", options->tokenFile,
        "File that holds the administrator token (setting backend.token_file; else the token store)");
    addHomeOption(*run, options->home);
    addRunChoices(*run, options->choices);
    run->add_flag("--once", options->once, "Take bugs in once and end when nothing is queued or running");
    run->add_flag("--dry-run", options->dryRun, "Only say what would be enqueued and started");
    addPathOption(*run, "--log-file", options->logFile, "File to whose end the log is written as well");
    run->callback([options, &chosen] { chosen = [options] { return runCommand(*options); }; });
}

}  // namespace quernlight::host
