#include "host/app/dispatch_program.hpp"

#include <unistd.h>

#include <boost/asio/this_coro.hpp>

#include "host/agent/agent_environment.hpp"
#include "host/process/caught_exception.hpp"
#include "host/process/user_error.hpp"
#include "host/session/bug_session.hpp"
#include "host/settings/backend_address.hpp"
#include "host/settings/settings_store.hpp"
#include "host/view/board_pair.hpp"
#include "host/view/live_board.hpp"
#include "quernlight/platform/process_table.hpp"
#include "quernlight/runner/local_pty_codex_runner.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {
namespace {

constexpr double commentRequestsPerSecond = 5;
constexpr int commentRequestsAtOnce = 5;

std::string describeSilence(const Url& backend, const std::string& trouble) {
    return "The backend at " + backend.text() + " cannot be asked (" + trouble +
           "); sessions go on, and it is asked again.";
}

}  // namespace

Task<void> dispatchBugs(DispatchProgramOptions options, ProgressBoard& board, StopRequest& stop) {
    adoptOrphans();  // so that what an agent leaves behind can be seen to end; on macOS launchd does it
    DispatchStore store = co_await DispatchStore::open(FileLocations::databaseURL(options.home));
    LiveSettings settings(SettingsStore(store.database), options.settings);
    for (const std::string& trouble : co_await settings.refresh()) {
        board.note(trouble);
    }
    if (const auto missing = missingAgent(settings.now().agentCommand, options.environment)) {
        throw UserError(*missing);
    }
    const Url backend = backendAddress(options.backend, settings.now());
    QueueManager manager(store.items, store.mappings, backend);
    const boost::asio::any_io_executor executor = co_await boost::asio::this_coro::executor;
    SystemClock clock;
    GoalDelivery goalDelivery(executor, store, clock);
    LocalPTYCodexRunner runner(goalDelivery);
    BackgroundExecutor background;
    RepositoryLocks repositories;
    RateLimiter commentRateLimiter(commentRequestsPerSecond, commentRequestsAtOnce);
    BackendHealth health([&board, backend](const std::string& trouble) {
        board.alert("backend", trouble.empty() ? "" : describeSilence(backend, trouble));
        if (trouble.empty()) {
            board.note("The backend answers again.");
        }
    });
    DiskHealth disk([&board](const std::string& trouble) {
        board.alert("disk", trouble);
        if (trouble.empty()) {
            board.note("The dispatch home can be written again.");
        }
    });
    RunningTime runningTime(readClocks(clock), [&board] {
        board.note(
            "The machine slept, the dispatcher was stopped, or the clock was set; agents are called silent "
            "only for what follows.");
    });
    const bool triesAgain = !options.dispatcher.once;  // else the program's last sentence tells
    StartPauses startPauses([&board, triesAgain](const std::string& topic, const std::string& sentence) {
        if (!triesAgain) {
            return;
        }
        board.alert(topic, sentence);
        if (sentence.empty()) {
            board.note("Bugs can be started again.");
        }
    });
    SessionServices services{
        .home = options.home,
        .store = store,
        .manager = manager,
        .client = QuernlightClient(backend, options.adminToken, std::make_shared<HttpSession>()),
        .runner = runner,
        .goalDelivery = goalDelivery,
        .background = background,
        .repositories = repositories,
        .clock = clock,
        .stop = stop,
        .commentRateLimiter = commentRateLimiter,
        .health = health,
        .disk = disk,
        .runningTime = runningTime,
        .startPauses = startPauses,
        .instructions = InstructionFiles::prepare(options.home),
        .environment = options.environment,
        .settings = settings.now(),
        .board = board,
        .homeIsInPlace = [lock = options.lock] { return !lock || lock->isInPlace(); }};
    Dispatcher dispatcher(
        services, settings, options.dispatcher, [&services](BugQueueItem item, AppMapping mapping) {
            return std::make_shared<BugSession>(services, std::move(item), std::move(mapping));
        });
    const std::exception_ptr failure = co_await caughtException(dispatcher.run());
    board.close();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

std::unique_ptr<ProgressBoard> makeBoard(const boost::asio::any_io_executor& executor,
                                         const BoardOptions& options) {
    const bool wantsPicture = options.format == LogFormat::text || options.logFile;
    std::unique_ptr<ProgressBoard> board;
    if (wantsPicture && isatty(STDOUT_FILENO) != 0) {
        board = std::make_unique<LiveBoard>(executor, STDOUT_FILENO, options.history);
    } else {
        board = std::make_unique<LogBoard>(options.format);
    }
    if (!options.logFile) {
        return board;
    }
    auto log = std::make_unique<LogBoard>(options.format, *options.logFile);
    return std::make_unique<BoardPair>(std::move(board), std::move(log));
}

}  // namespace quernlight::host
