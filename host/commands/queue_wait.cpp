#include "host/commands/queue_wait.hpp"

#include <chrono>
#include <cstdlib>
#include <memory>

#include <CLI/CLI.hpp>
#include <boost/asio/this_coro.hpp>

#include "host/commands/command_output.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/events/session_stage.hpp"
#include "host/process/clock.hpp"
#include "host/process/user_error.hpp"
#include "host/service/queue_json.hpp"
#include "host/service/queue_text.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

constexpr double longestTimeout = 1e9;  // in seconds

struct WaitOptions {
    ChosenHome home{};
    std::string bugID{};
    std::optional<SessionStage> until{};
    double timeoutSeconds = 0;  // 0: none
    bool exitStatus = false;
    bool json = false;
};

/// How it ended, as a status: in review or merged; failed or cancelled; a person has to do something.
enum class WaitStatus { done = 0, failed = 1, needsPerson = 3 };

/// Nothing while it goes on by itself, or until the state that is waited for.
std::optional<WaitStatus> outcomeOf(const BugState& state, const std::optional<SessionStage>& until) {
    if (!state.queued || state.queued->stage == SessionStage::inReview || state.queued->stage == until) {
        return WaitStatus::done;
    }
    const SessionStage stage = state.queued->stage;
    if (stage == SessionStage::failed || stage == SessionStage::cancelled) {
        return WaitStatus::failed;
    }
    return needsAttention(stage) && !until ? std::optional(WaitStatus::needsPerson) : std::nullopt;
}

std::string textOf(const BugState& state) {
    if (!state.queued) {
        return state.bugID + ": merged";
    }
    const QueueEntry entry{.item = state.queued->item, .stage = state.queued->stage};
    const auto& error = entry.item.errorMessage;
    return state.bugID + ": " + stageInQueue(entry) + (error ? ": " + *error : "");
}

/// Whether the event may change what the bug has come to.
bool mayEnd(const DispatchEvent& event, const std::string& bugID) {
    if (const auto* changed = std::get_if<ItemChanged>(&event)) {
        return changed->bugID == bugID;
    }
    if (const auto* removed = std::get_if<ItemRemoved>(&event)) {
        return removed->bugID == bugID;
    }
    const auto* stage = std::get_if<StageChanged>(&event);
    return stage && stage->progress.bugID == bugID;
}

void tell(const BugState& state, const WaitOptions& given) {
    CommandOutput output;
    if (given.json) {
        return output.printJson(jsonOf(state));
    }
    output.print(withoutControls(textOf(state)) + "\n");
}

Clock::TimePoint deadlineOf(const WaitOptions& given, Clock::TimePoint now) {
    const std::chrono::duration<double> timeout(given.timeoutSeconds > 0 ? given.timeoutSeconds
                                                                         : longestTimeout);
    return now + std::chrono::duration_cast<Clock::TimePoint::duration>(timeout);
}

/// Asks only when something has happened to the bug, which may have its id in full only by the first answer.
Task<void> wait(DispatchService& service, WaitOptions given, int& status) {
    SystemClock clock;
    const auto deadline = deadlineOf(given, clock.steadyNow());
    const auto executor = co_await boost::asio::this_coro::executor;
    const AsyncSignal news;
    EventListener listener{.happened =
                               [&given, news](const DispatchEvent& event) {
                                   if (mayEnd(event, given.bugID)) {
                                       news.notify();
                                   }
                               },
                           .lookAnew = [news] { news.notify(); }};
    const EventSubscription following = service.subscribe(executor, std::move(listener));
    while (true) {
        const BugState state = co_await service.bug(given.bugID);
        if (const auto ended = outcomeOf(state, given.until)) {
            status = given.exitStatus ? static_cast<int>(*ended) : 0;
            co_return tell(state, given);
        }
        given.bugID = state.bugID;
        if (clock.steadyNow() >= deadline) {
            throw UserError("Bug " + textOf(state) + " after the time given with --timeout.");
        }
        co_await clock.waitUntil(news, deadline);
    }
}

int queueWait(const WaitOptions& given) {
    const auto service = serviceFor(given.home);
    int status = 0;
    const int interrupted = statusOf(wait(*service, given, status));
    return interrupted != 0 ? interrupted : status;
}

}  // namespace

void addQueueWait(CLI::App& queue, ChosenCommand& chosen) {
    const auto options = std::make_shared<WaitOptions>();
    CLI::App* app = queue.add_subcommand("wait", "Wait until a bug has come to an end, or needs a person");
    addBugOption(*app, options->bugID);
    addStateOption(
        *app, "--until", options->until,
        "Go on until it is in this state, like \"in review\", or has come to an end, also while it "
        "needs a person");
    app->add_flag(
        "--exit-status", options->exitStatus,
        "End with 0 when it is in review, merged or in the state of --until, 1 when it failed or was "
        "cancelled, and 3 when it needs a person");
    app->add_option("--timeout", options->timeoutSeconds, "Seconds after which it is given up, with status 1")
        ->check([](const std::string& given) {
            const double seconds = std::strtod(given.c_str(), nullptr);
            return seconds > 0 && seconds <= longestTimeout ? "" : "give a number of seconds above 0";
        });
    app->add_flag("--json", options->json, "As JSON: an object");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return queueWait(*options); }; });
}

}  // namespace quernlight::host
