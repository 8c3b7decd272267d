#include "host/commands/queue_wait.hpp"

#include <chrono>
#include <cstdlib>
#include <memory>

#include <CLI/CLI.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/commands/command_output.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/events/session_stage.hpp"
#include "host/process/user_error.hpp"
#include "host/service/queue_json.hpp"
#include "host/service/queue_text.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::milliseconds lookInterval{500};

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

Task<void> wait(DispatchService& service, WaitOptions given, int& status) {
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor);
    const auto begun = std::chrono::steady_clock::now();
    const std::chrono::duration<double> timeout(given.timeoutSeconds);
    while (true) {
        const BugState state = co_await service.bug(given.bugID);
        if (const auto ended = outcomeOf(state, given.until)) {
            status = given.exitStatus ? static_cast<int>(*ended) : 0;
            CommandOutput output;
            if (given.json) {
                co_return output.printJson(jsonOf(state));
            }
            co_return output.print(withoutControls(textOf(state)) + "\n");
        }
        given.bugID = state.bugID;
        if (timeout.count() > 0 && std::chrono::steady_clock::now() - begun >= timeout) {
            throw UserError("Bug " + textOf(state) + " after the time given with --timeout.");
        }
        timer.expires_after(lookInterval);
        co_await timer.async_wait(boost::asio::use_awaitable);
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
            constexpr double most = 1e9;
            const double seconds = std::strtod(given.c_str(), nullptr);
            return seconds > 0 && seconds <= most ? "" : "give a number of seconds above 0";
        });
    app->add_flag("--json", options->json, "As JSON: an object");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return queueWait(*options); }; });
}

}  // namespace quernlight::host
