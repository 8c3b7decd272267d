#include "host/run_command.hpp"

#include <iostream>

#include "host/dispatch_home.hpp"
#include "host/dispatch_program.hpp"
#include "host/dry_run.hpp"
#include "host/event_loop.hpp"
#include "host/home_lock.hpp"
#include "host/token_file.hpp"
#include "host/user_error.hpp"

namespace quernlight::host {
namespace {

Url backendURL(const std::string& text) {
    const auto url = Url::parse(text);
    if (!url || (url->scheme() != "http" && url->scheme() != "https") || url->host().empty()) {
        throw UserError("The backend \"" + text + "\" is no address; give one like https://bugs.example.");
    }
    return *url;
}

DispatcherSettings dispatcherSettings(const RunOptions& options) {
    return {.maxSessions = options.maxSessions, .once = options.once};
}

int tellDryRun(const RunOptions& options, const Url& backend, const std::string& token) {
    boost::asio::io_context io;
    const QuernlightClient client(backend, token, std::make_shared<HttpSession>());
    const bool interrupted = runUnlessInterrupted(
        io, dryRun(locateDispatchHome(options.home), client, dispatcherSettings(options), std::cout));
    return interrupted ? 130 : 0;
}

}  // namespace

int runCommand(const RunOptions& options) {
    const Url backend = backendURL(options.backend);
    const std::string token = readToken(options.tokenFile);
    if (options.dryRun) {
        return tellDryRun(options, backend, token);
    }
    const auto home = openDispatchHome(options.home);
    const HomeLock lock(home);
    boost::asio::io_context io;
    const auto board = boardForStandardOutput(io.get_executor());
    const auto stopButton = std::make_shared<StopButton>();
    DispatchProgramOptions program{.home = home,
                                   .backend = backend,
                                   .adminToken = token,
                                   .environment = currentEnvironmentMap(),
                                   .dispatcher = dispatcherSettings(options)};
    program.sessions.timeouts = {.idleTimeoutSeconds = options.idleTimeoutSeconds,
                                 .postExitCommentGraceSeconds = options.exitGraceSeconds};
    int signals = 0;
    runWithSignals(io, dispatchBugs(std::move(program), *board, stopButton), [&](int count) {
        signals = count;
        board->note(count == 1 ? "Stopping the sessions; once more to kill them." : "Killing the sessions.");
        stopButton->press();
    });
    return signals > 0 ? 130 : 0;
}

}  // namespace quernlight::host
