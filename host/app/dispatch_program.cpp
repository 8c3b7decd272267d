#include "host/app/dispatch_program.hpp"

#include <boost/asio/this_coro.hpp>

#include "host/agent/agent_environment.hpp"
#include "host/app/owner_sources.hpp"
#include "host/app/owner_view.hpp"
#include "host/control/control_server.hpp"
#include "host/control/listener_token.hpp"
#include "host/dispatcher/earlier_run.hpp"
#include "host/metrics/metrics_resource.hpp"
#include "host/notify/notifier.hpp"
#include "host/process/caught_exception.hpp"
#include "host/process/user_error.hpp"
#include "host/service/attempt_resource.hpp"
#include "host/service/direct_service.hpp"
#include "host/service/event_resource.hpp"
#include "host/service/outcome_resource.hpp"
#include "host/service/service_resource.hpp"
#include "host/service/session_resource.hpp"
#include "host/service/start_resource.hpp"
#include "host/session/bug_session.hpp"
#include "host/settings/backend_address.hpp"
#include "host/settings/settings_store.hpp"
#include "host/settings/token_source.hpp"
#include "host/store/readable_queue.hpp"
#include "host/terminal/terminal_resource.hpp"
#include "host/tools/tool_calls.hpp"
#include "quernlight/dispatch/codex_session_resolver.hpp"
#include "quernlight/platform/process_table.hpp"
#include "quernlight/runner/local_pty_codex_runner.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {
namespace {

/// Of one agent, until the loop has time for them; each is a read of at most 64 KiB, mostly of 4.
constexpr std::size_t mostEventsWaiting = 256;

constexpr double commentRequestsPerSecond = 5;
constexpr int commentRequestsAtOnce = 5;

/// What a command that shows notifications on the desktop needs besides.
const std::vector<std::string> desktopVariables{"DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "WAYLAND_DISPLAY"};

std::string describeSilence(const Url& backend, const std::string& trouble) {
    return "The backend at " + backend.text() + " cannot be asked (" + trouble +
           "); sessions go on, and it is asked again.";
}

Task<std::shared_ptr<const QuernlightClient>> handedOver(std::shared_ptr<const QuernlightClient> client) {
    co_return client;
}

std::unique_ptr<ControlListener> listenerOf(const boost::asio::any_io_executor& executor,
                                            const DispatchProgramOptions& options) {
    return options.listenPort
               ? std::make_unique<ControlListener>(executor, *options.listenPort, listenerToken(options.home))
               : nullptr;
}

Task<void> rememberIfPossible(DispatchStore store, Instant unpaused, DiskHealth& disk) {
    try {
        co_await rememberUnpause(std::move(store), unpaused);
    } catch (const DatabaseError& error) {
        disk.failed(error);
    }
}

std::string wordsOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        return error.what();
    }
}

}  // namespace

Task<void> dispatchBugs(DispatchProgramOptions options, EventPublisher& events, Views& views,
                        StopRequest& stop) {
    adoptOrphans();  // so that what an agent leaves behind can be seen to end; on macOS launchd does it
    DispatchStore store = co_await DispatchStore::open(FileLocations::databaseURL(options.home));
    LiveSettings settings(SettingsStore(store.database), options.settings);
    const SettingsRefresh stored = co_await settings.refresh();
    for (const std::string& trouble : stored.troubles) {
        events.noticeOnce(trouble);
    }
    if (const auto missing = missingAgent(settings.now().agentCommand, options.environment)) {
        throw UserError(*missing);
    }
    const boost::asio::any_io_executor executor = co_await boost::asio::this_coro::executor;
    const auto listener = listenerOf(executor, options);
    const Url backend = backendAddress(options.backend, settings.now());
    const TokenSource source = tokenSource(options.tokenFile, options.environment, settings.now());
    const std::string token = co_await readToken(source, backend);
    HistoryPublisher history(events);
    store.items = history.publishing(store.items);
    QueueManager manager(store.items, store.mappings, backend);
    SystemClock clock;
    ReadyPrompts readyPrompts(executor);
    FirstLaunch firstLaunch(
        !std::filesystem::exists(CodexSessionResolver::stateDatabaseURL(options.environment)));
    LocalPTYCodexRunner runner(readyPrompts);
    runner.readWhileFewerWait(mostEventsWaiting);
    BackgroundExecutor background;
    BackgroundExecutor drawing;
    BackgroundExecutor reading;  // of transcripts
    LiveScreens screens;
    RepositoryLocks repositories;
    RateLimiter commentRateLimiter(commentRequestsPerSecond, commentRequestsAtOnce);
    BackendHealth health(clock, [&events, backend](const std::string& trouble) {
        events.alert({AlertTopic::backend}, trouble.empty() ? "" : describeSilence(backend, trouble));
        if (trouble.empty()) {
            events.notice("The backend answers again.");
        }
    });
    DiskHealth disk(clock, [&events](const std::string& trouble) {
        events.alert({AlertTopic::disk}, trouble);
        if (trouble.empty()) {
            events.notice("The dispatch home can be written again.");
        }
    });
    RunningTime runningTime(readClocks(clock), [&events] {
        events.notice(
            "The machine slept, the dispatcher was stopped, or the clock was set; agents are called silent "
            "only for what follows.");
    });
    const bool triesAgain = !options.dispatcher.once;  // else the program's last sentence tells, see below
    StartPauses startPauses(
        [&events, triesAgain](const std::string& repository, const std::string& sentence) {
            if (!triesAgain) {
                return;
            }
            events.alert({AlertTopic::starts, repository}, sentence);
            if (sentence.empty()) {
                events.notice("Bugs can be started again.");
            }
        });
    ToolAccess toolAccess;
    SessionServices services{.home = options.home,
                             .store = store,
                             .manager = manager,
                             .client = QuernlightClient(backend, token, std::make_shared<HttpSession>()),
                             .runner = runner,
                             .readyPrompts = readyPrompts,
                             .firstLaunch = firstLaunch,
                             .tools = toolAccess,
                             .toolServer = options.toolServer,
                             .background = background,
                             .drawing = drawing,
                             .screens = screens,
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
                             .events = events,
                             .history = history,
                             .homeIsInPlace = [lock = options.lock] { return !lock || lock->isInPlace(); }};
    // Whatever can throw comes before the socket is served.
    auto known = co_await readableItems(store, wholeQueue);
    const EarlierRun earlier = co_await earlierRun(store, known, clock.now());
    if (earlier.limit && triesAgain) {  // who starts the program for once wants a try
        startPauses.failed(pauseFor(*earlier.limit, clock.now()), clock.steadyNow());
    }
    ToolCalls toolCalls({.access = toolAccess, .items = store.items, .events = events, .clock = clock},
                        BugTools(services.client, store.attempts, background));
    Dispatcher dispatcher(
        services, settings, options.dispatcher, [&services](BugQueueItem item, AppMapping mapping) {
            return std::make_shared<BugSession>(services, std::move(item), std::move(mapping));
        });
    AgentVersion agentVersion(clock);
    DirectService service(
        std::make_unique<OwnerAccess>(options.home, store, manager),
        ownerSources({.services = services,
                      .dispatcher = dispatcher,
                      .screens = screens,
                      .agentVersion = agentVersion,
                      .backend = backend.text(),
                      .listening = listener ? std::optional(listener->address()) : std::nullopt,
                      .since = clock.now()}),
        [client = std::make_shared<const QuernlightClient>(services.client)]()
            -> Task<std::shared_ptr<const QuernlightClient>> { return handedOver(client); });
    ServiceResource serviceResource(service);
    EventResource eventResource(events, clock);
    AttemptResource attemptResource({.service = service,
                                     .background = reading,
                                     .screens = screens,
                                     .clock = clock,
                                     .home = options.home});
    OutcomeResource outcomeResource(service);
    SessionResource sessionResource(events, screens);
    TerminalResource terminalResource(events, screens, clock);
    StartResource startResource(
        {.pauses = startPauses,
         .clock = clock,
         .triesAgain = triesAgain,
         .lookNow = [&dispatcher] { dispatcher.lookNow(); },
         .remember = [&store, &disk](Instant at) { return rememberIfPossible(store, at, disk); }});
    ControlCounts requests;
    MetricsResource metricsResource(
        {.service = service, .events = events, .backend = health, .screens = screens, .requests = requests});
    ControlRouter router;
    toolCalls.offerOn(router);
    serviceResource.offerOn(router);
    eventResource.offerOn(router);
    attemptResource.offerOn(router);
    outcomeResource.offerOn(router);
    sessionResource.offerOn(router);
    terminalResource.offerOn(router);
    startResource.offerOn(router);
    metricsResource.offerOn(router);
    router.offerIndex(QUERNLIGHT_VERSION);
    ControlServer control(executor, options.home, router, clock, {}, &requests);
    if (listener) {
        control.listenOn(*listener);
        events.notice("Listening on " + listener->address() + " for requests with the token in " +
                      listenerTokenFile(options.home).string() + ".");
    }
    const Notifier::Uses notified{.events = events,
                                  .settings = settings.now(),
                                  .clock = clock,
                                  .home = options.home,
                                  .environment = agentEnvironment(options.environment, desktopVariables)};
    EarlierNews told{.questions = earlier.questions};
    if (earlier.limit) {
        told.pauses.push_back({AlertTopic::starts, StartPauses::agentsWork});
    }
    Notifier notifier(executor, notified, known, told);
    const auto ownView = views.wantsLiveView() ? std::make_unique<OwnerView>(executor, views, events, service,
                                                                             clock, options.home)
                                               : nullptr;
    const std::exception_ptr failure = co_await caughtException(dispatcher.run());
    if (failure && !triesAgain && startPauses.areAny()) {
        notifier.tell({.kind = NotificationKind::paused, .message = wordsOf(failure), .time = clock.now()});
    }
    co_await notifier.end(stop);
    if (ownView) {
        co_await ownView->end();
    }
    co_await terminalResource.end();
    co_await control.end();
    views.close();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

}  // namespace quernlight::host
