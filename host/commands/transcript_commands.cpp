#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

#include <CLI/CLI.hpp>
#include <boost/json/serialize.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/control/control_client.hpp"
#include "host/process/dispatch_home.hpp"
#include "host/service/json_fields.hpp"
#include "host/terminal/transcript.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

struct TranscriptOptions {
    ChosenHome home{};
    std::string bugID{};
    std::int64_t attempt = 0;  // 0: the last one
    bool follow = false, ansi = false, json = false;
    double speed = 1;
};

SessionAttemptRecord chosenOf(const QueueItemDetails& details, std::int64_t number) {
    const auto& attempts = details.attempts;
    const auto chosen = std::ranges::find(attempts, number, &SessionAttemptRecord::attemptNumber);
    const bool isLast = number == 0 && !attempts.empty();
    if (!isLast && chosen == attempts.end()) {
        throw UserError("Bug " + withoutControls(details.item.bugID) +
                        (attempts.empty()
                             ? " has no attempt yet, and so no transcript."
                             : " has no attempt " + std::to_string(number) + "; its last one is " +
                                   std::to_string(attempts.back().attemptNumber) + "."));
    }
    return isLast ? attempts.back() : *chosen;
}

Task<SessionAttemptRecord> chosenAttempt(DispatchService& service, std::string bugID, std::int64_t number) {
    const QueueItemDetails details = co_await service.queueItem(std::move(bugID));
    co_return chosenOf(details, number);
}

/// The whole transcript as a text.
json::object shown(const SessionAttemptRecord& attempt, bool ansi) {
    constexpr std::size_t piece = 1 << 16;
    const std::string& file = ansi ? attempt.transcriptANSIPath : attempt.transcriptTextPath;
    TranscriptFile transcript(file);
    std::string text;
    for (std::string more = transcript.next(piece); !more.empty(); more = transcript.next(piece)) {
        text += more;
    }
    return {{"bug", jsonText(attempt.bugID)},
            {"attempt", attempt.attemptNumber},
            {"transcript", jsonText(file)},
            {"text", jsonText(text)}};
}

Task<void> printLog(DispatchService& service, TranscriptOptions given) {
    SystemClock clock;
    const SessionAttemptRecord attempt = co_await chosenAttempt(service, given.bugID, given.attempt);
    if (given.json) {
        std::cout << escapedJson(json::serialize(shown(attempt, given.ansi))) << std::endl;
        co_return;
    }
    PrintedTranscript transcript{.file = given.ansi ? attempt.transcriptANSIPath : attempt.transcriptTextPath,
                                 .isHarmless = !given.ansi};
    if (!given.follow) {
        co_return co_await printTranscript(std::move(transcript), clock, std::cout);
    }
    const std::vector<std::string> path{
        "v1", "queue", attempt.bugID, "attempts", std::to_string(attempt.attemptNumber), "transcript"};
    FollowedTranscript followed{
        .home = locateDispatchHome(given.home),
        .target = controlTarget(path) + (given.ansi ? "?format=ansi" : "?format=plain"),
        .stored = std::move(transcript)};
    co_await followTranscript(std::move(followed), clock, std::cout);
}

std::vector<TimedOutput> timingOf(const SessionAttemptRecord& attempt) {
    std::ifstream file(timingFileOf(attempt.transcriptANSIPath), std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::vector<TimedOutput> moments = parseTiming(text);
    if (moments.empty()) {
        throw UserError("No timing was recorded of attempt " + std::to_string(attempt.attemptNumber) +
                        "; to see what it wrote use: quernlight-dispatch sessions log " +
                        withoutControls(attempt.bugID));
    }
    return moments;
}

Task<void> playAttempt(DispatchService& service, TranscriptOptions given) {
    SystemClock clock;
    const SessionAttemptRecord attempt = co_await chosenAttempt(service, given.bugID, given.attempt);
    Recording recording{
        .transcript = attempt.transcriptANSIPath, .moments = timingOf(attempt), .speed = given.speed};
    co_await play(std::move(recording), clock, std::cout);
}

int sessionsLog(const TranscriptOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(printLog(*service, given));
}

int sessionsReplay(const TranscriptOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(playAttempt(*service, given));
}

void addCommonOptions(CLI::App& app, TranscriptOptions& options) {
    addBugOption(app, options.bugID);
    app.add_option("--attempt", options.attempt, "Which attempt; default: the last one")
        ->check(CLI::Range(1, 1000000))
        ->type_name("NUMBER");
    addHomeOption(app, options.home);
}

void addLog(CLI::App& sessions, ChosenCommand& chosen) {
    const auto options = std::make_shared<TranscriptOptions>();
    CLI::App* app = sessions.add_subcommand("log", "Print what a bug's agent wrote");
    addCommonOptions(*app, *options);
    CLI::Option* follow = app->add_flag("-f,--follow", options->follow, "Go on until the attempt ends");
    app->add_flag("--ansi", options->ansi, "As the agent wrote it, with all that acts on a terminal");
    app->add_flag("--json", options->json, "The attempt and its text, as JSON: an object")->excludes(follow);
    app->callback([options, &chosen] { chosen = [options] { return sessionsLog(*options); }; });
}

void addReplay(CLI::App& sessions, ChosenCommand& chosen) {
    const auto options = std::make_shared<TranscriptOptions>();
    CLI::App* app = sessions.add_subcommand("replay", "Play what a bug's agent wrote as it wrote it");
    addCommonOptions(*app, *options);
    app->add_option("--speed", options->speed, "So many times as fast; pauses are three seconds at most")
        ->check(CLI::Range(0.01, 1000.0))
        ->type_name("NUMBER");
    app->callback([options, &chosen] { chosen = [options] { return sessionsReplay(*options); }; });
}

}  // namespace

void addTranscriptCommands(CLI::App& sessions, ChosenCommand& chosen) {
    addLog(sessions, chosen);
    addReplay(sessions, chosen);
}

}  // namespace quernlight::host
