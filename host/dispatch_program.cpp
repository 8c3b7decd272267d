#include "host/dispatch_program.hpp"

#include <iostream>

#include <unistd.h>

#include "host/agent_environment.hpp"
#include "host/live_board.hpp"
#include "host/plain_board.hpp"
#include "host/user_error.hpp"
#include "quernlight/runner/local_pty_codex_runner.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {
namespace {

void requireAgent(const std::string& program, const EnvironmentMap& environment) {
    if (program.find('/') == std::string::npos && !findOnPath(program, environment)) {
        throw UserError("There is no program \"" + program +
                        "\" on PATH; install the agent, or put its directory on PATH.");
    }
}

}  // namespace

void StopButton::press() {
    ++presses_;
    if (!dispatcher_) {
        return;
    }
    if (presses_ == 1) {
        dispatcher_->stop();
    } else {
        dispatcher_->kill();
    }
}

Task<void> dispatchBugs(DispatchProgramOptions options, ProgressBoard& board,
                        std::shared_ptr<StopButton> stopButton) {
    const EnvironmentMap agent = agentEnvironment(options.environment);
    requireAgent(options.sessions.agentCommand.front(), agent);
    DispatchStore store = co_await DispatchStore::open(FileLocations::databaseURL(options.home));
    QueueManager manager(store.items, store.mappings, options.backend);
    LocalPTYCodexRunner runner;
    BackgroundExecutor background;
    RepositoryTurns repositories;
    SessionServices services{
        .home = options.home,
        .store = store,
        .manager = manager,
        .client = QuernlightClient(options.backend, options.adminToken, std::make_shared<HttpSession>()),
        .runner = runner,
        .background = background,
        .repositories = repositories,
        .instructions = InstructionFiles::prepare(options.home),
        .agentEnvironment = agent,
        .settings = options.sessions,
        .board = board};
    Dispatcher dispatcher(services, options.dispatcher);
    stopButton->dispatcher_ = &dispatcher;
    if (stopButton->presses_ > 0) {
        dispatcher.stop();
    }
    std::exception_ptr failure;
    try {
        co_await dispatcher.run();
    } catch (...) {
        failure = std::current_exception();
    }
    stopButton->dispatcher_ = nullptr;
    board.close();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

std::unique_ptr<ProgressBoard> boardForStandardOutput(const boost::asio::any_io_executor& executor) {
    if (isatty(STDOUT_FILENO) != 0) {
        return std::make_unique<LiveBoard>(executor, STDOUT_FILENO);
    }
    return std::make_unique<PlainBoard>(std::cout);
}

}  // namespace quernlight::host
