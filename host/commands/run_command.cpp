#include "host/commands/run_command.hpp"

#include <iostream>

#include "host/app/dispatch_program.hpp"
#include "host/commands/dry_run.hpp"
#include "host/events/failure_notices.hpp"
#include "host/process/core_dumps.hpp"
#include "host/process/dispatch_home.hpp"
#include "host/process/event_loop.hpp"
#include "host/process/home_lock.hpp"
#include "host/process/private_files.hpp"
#include "host/process/token_file.hpp"
#include "host/process/user_error.hpp"
#include "host/settings/backend_address.hpp"

namespace quernlight::host {
namespace {

std::optional<Url> givenBackend(const RunOptions& options) {
    return options.backend ? std::optional(parseBackendAddress(*options.backend)) : std::nullopt;
}

int tellDryRun(const RunOptions& options, const std::optional<Url>& backend, const std::string& token) {
    boost::asio::io_context io;
    DryRun dry{.home = locateDispatchHome(options.home),
               .backend = backend,
               .token = token,
               .settings = options.settings};
    return runUnlessInterrupted(io, dryRun(std::move(dry), std::cout)) ? 130 : 0;
}

}  // namespace

int runCommand(const RunOptions& options) {
    checkOverrides(options.settings);
    switchOffCoreDumps();
    const auto backend = givenBackend(options);
    const std::string token = readToken(options.tokenFile);
    if (options.dryRun) {
        return tellDryRun(options, backend, token);
    }
    const auto home = openDispatchHome(options.home);
    const HomeLock lock(home);
    protectTree(home / "sessions");
    StopRequest stop;
    boost::asio::io_context io;
    const ViewOptions viewOptions{.format = options.logJson ? LogFormat::jsonLines : LogFormat::text,
                                  .logFile = options.logFile};
    EventPublisher events;
    Views views(io.get_executor(), events, viewOptions);
    const FailureNotices failures(io.get_executor(), events);
    DispatchProgramOptions program{.home = home,
                                   .lock = &lock,
                                   .backend = backend,
                                   .adminToken = token,
                                   .environment = currentEnvironmentMap(),
                                   .settings = options.settings,
                                   .dispatcher = {.once = options.once}};
    const StopSignals wishes =
        runWithSignals(io, dispatchBugs(std::move(program), events, views, stop), [&](int count) {
            events.notice(count == 1 ? "Stopping sessions; press Ctrl-C again to kill them."
                                     : "Killing the sessions.");
            stop.raise(count == 1 ? StopLevel::stop : StopLevel::kill);
        });
    return wishes.exitStatus();
}

}  // namespace quernlight::host
