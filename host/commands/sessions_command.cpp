#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>
#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/owner_call.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/commands/session_actions.hpp"
#include "host/process/dispatch_home.hpp"
#include "host/service/json_fields.hpp"
#include "host/service/observation_json.hpp"
#include "host/service/queue_json.hpp"
#include "host/service/remote_service.hpp"
#include "host/service/session_json.hpp"
#include "host/service/session_text.hpp"
#include "host/terminal/attachment.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

struct AttachOptions {
    ChosenHome home{};
    std::string bugID{};
    bool isReadOnly = false;
};

struct SendOptions {
    ChosenHome home{};
    std::string bugID{}, text{};
    bool enter = false, raw = false, json = false;
};

struct SessionsOptions {
    ChosenHome home{};
    std::string bugID{};
    bool screen = false, explain = false, json = false;
};

Task<json::value> answerOf(std::filesystem::path home, std::vector<std::string> segments) {
    ControlRequest request{.target = controlTarget(segments)};
    return ownersAnswer(std::move(home), std::move(request));
}

/// With its agent's picture.
Task<json::object> seenSession(std::filesystem::path home, std::string bugID) {
    std::vector<std::string> segments{"v1", "sessions", std::move(bugID), "screen"};
    const json::value answer = co_await answerOf(std::move(home), std::move(segments));
    if (!answer.is_object()) {
        throw misunderstood();
    }
    co_return answer.get_object();
}

/// What its attempt tells in a member of its own.
json::object withoutStored(json::object session) {
    session.erase("attempt");
    return session;
}

/// The bug among those that run; empty when it is not.
Task<json::object> runningSession(std::filesystem::path home, std::string bugID) {
    RemoteService service(std::move(home));
    for (const RunningSession& session : co_await service.sessions()) {
        if (session.bugID == bugID) {
            co_return withoutStored(jsonOf(session));
        }
    }
    co_return json::object();
}

json::object storedSession(const QueueItemDetails& details) {
    BugProgress progress = restingProgress(details.item);
    progress.stage = details.stage;
    json::object session = shownSession(progress, std::nullopt);
    session["attempt"] =
        details.attempts.empty() ? json::value(nullptr) : json::value(jsonOf(details.attempts.back()));
    session["dispatcher_runs"] = false;
    return session;
}

/// What a dispatcher that runs knows of it counts above what is stored.
json::object merged(json::object stored, const json::object& live) {
    for (const auto& [name, value] : live) {
        stored[name] = value;
    }
    stored["dispatcher_runs"] = true;
    return stored;
}

Task<json::object> wholeSession(DispatchService& service, SessionsOptions given) {
    const QueueItemDetails details = co_await service.queueItem(given.bugID);
    const std::filesystem::path home = findDispatchHome(given.home);
    const bool needsPicture = given.screen || given.explain;
    json::object live;
    try {
        if (needsPicture) {
            live = co_await seenSession(home, details.item.bugID);
        } else {
            live = co_await runningSession(home, details.item.bugID);
        }
    } catch (const OwnerNotRunning&) {
        if (needsPicture) {
            throw noDispatcher(home);
        }
        co_return storedSession(details);
    }
    co_return merged(storedSession(details), live);
}

void print(const json::value& value) {
    std::cout << escapedJson(json::serialize(value)) << std::endl;
}

/// Those that run. Without a dispatcher, those whose attempt has no end yet.
Task<std::vector<RunningSession>> listedSessions(ChosenHome given, bool& isKnown) {
    RemoteService owner(findDispatchHome(given));
    try {
        co_return co_await owner.sessions();
    } catch (const OwnerNotRunning&) {
        isKnown = false;
    }
    const auto service = serviceFor(given);
    co_return co_await service->sessions();
}

Task<void> list(SessionsOptions given) {
    bool isKnown = true;
    const auto sessions = co_await listedSessions(given.home, isKnown);
    if (given.json) {
        co_return print(jsonArray(sessions, [](const RunningSession& session) { return jsonOf(session); }));
    }
    for (const RunningSession& session : sessions) {
        std::cout << sessionLine(jsonOf(session));
    }
    if (!isKnown) {
        std::cout << (sessions.empty() ? "No session was left without an end, and no dispatcher runs"
                                       : "No dispatcher runs, so how these ended is not known; it finds out "
                                         "at its next start")
                  << ". Start it with: quernlight-dispatch run\n";
    } else if (sessions.empty()) {
        std::cout << "No session runs; see: quernlight-dispatch queue list\n";
    }
    std::cout << std::flush;
}

Task<void> show(DispatchService& service, SessionsOptions given) {
    const json::object session = co_await wholeSession(service, given);
    if (given.json) {
        co_return print(session);
    }
    if (!given.screen && !given.explain) {
        std::cout << sessionStatus(session);
    }
    std::cout << (given.screen ? pictureText(session) : "") << (given.screen && given.explain ? "\n" : "")
              << (given.explain ? explanationText(session) : "") << std::flush;
}

/// The id in full of a bug that is named by the beginning of it.
Task<std::string> wholeID(DispatchService& service, std::string bugID) {
    const QueueItemDetails details = co_await service.queueItem(std::move(bugID));
    co_return details.item.bugID;
}

Task<void> attachTo(DispatchService& service, AttachOptions given, AttachmentEnd& end) {
    const std::filesystem::path home = findDispatchHome(given.home);
    std::string bugID = co_await wholeID(service, given.bugID);
    Attachment attachment{.home = home, .bugID = std::move(bugID), .isReadOnly = given.isReadOnly};
    try {
        end = co_await attach(std::move(attachment));
    } catch (const OwnerNotRunning&) {
        throw noDispatcher(home);
    }
}

/// What it says comes once the terminal is the shell's again.
int sessionsAttach(const AttachOptions& given) {
    AttachmentEnd end;
    const auto service = serviceFor(given.home);
    const int status = statusOf(attachTo(*service, given, end));
    if (end.isLost) {
        throw UserError(end.sentence);
    }
    std::cout << end.sentence << (end.sentence.empty() ? "" : "\n") << std::flush;
    return status;
}

Task<void> sendText(DispatchService& service, SendOptions given) {
    const std::filesystem::path home = findDispatchHome(given.home);
    std::string bugID = co_await wholeID(service, given.bugID);
    const std::vector<std::string> segments{"v1", "sessions", std::move(bugID), "input"};
    const json::object input{{"text", validUtf8(given.text)}, {"enter", given.enter}, {"raw", given.raw}};
    ControlRequest request{
        .method = "POST", .target = controlTarget(segments), .body = json::serialize(input)};
    try {
        co_await ownersAnswer(home, std::move(request));
    } catch (const OwnerNotRunning&) {
        throw noDispatcher(home);
    }
    if (given.json) {
        json::object sent = input;
        sent["bug"] = segments.at(2);
        print(sent);
    }
}

int sessionsSend(const SendOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(sendText(*service, given));
}

int sessionsList(const SessionsOptions& given) {
    return statusOf(list(given));
}

int sessionsShow(const SessionsOptions& given) {
    const auto service = serviceFor(given.home);
    return statusOf(show(*service, given));
}

void addList(CLI::App& sessions, ChosenCommand& chosen) {
    const auto options = std::make_shared<SessionsOptions>();
    CLI::App* app = sessions.add_subcommand("list", "List those that run, and what their agents do");
    app->add_flag("--json", options->json, "As JSON: an array");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return sessionsList(*options); }; });
}

void addShow(CLI::App& sessions, ChosenCommand& chosen) {
    const auto options = std::make_shared<SessionsOptions>();
    CLI::App* app = sessions.add_subcommand("show", "Show a bug's session, or what is on its agent's screen");
    addBugOption(*app, options->bugID);
    app->add_flag("--screen", options->screen, "What stands on its agent's screen now");
    app->add_flag("--explain", options->explain, "What that screen is taken for, and why");
    app->add_flag("--json", options->json, "As JSON: an object");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return sessionsShow(*options); }; });
}

void addAttach(CLI::App& sessions, ChosenCommand& chosen) {
    const auto options = std::make_shared<AttachOptions>();
    CLI::App* app = sessions.add_subcommand("attach", "Work in an agent's terminal; Ctrl-] leaves it");
    addBugOption(*app, options->bugID);
    app->add_flag("--read-only", options->isReadOnly, "Only look: no key goes to the agent but Ctrl-] here");
    app->add_flag_callback(
           "--json",
           [] {
               throw CLI::ValidationError(
                   "a terminal cannot be shown as JSON; for what is on its screen use: quernlight-dispatch "
                   "sessions show BUG --screen --json");
           })
        ->group("");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return sessionsAttach(*options); }; });
}

void addSend(CLI::App& sessions, ChosenCommand& chosen) {
    const auto options = std::make_shared<SendOptions>();
    CLI::App* app = sessions.add_subcommand("send", "Type a text into an agent's terminal");
    addBugOption(*app, options->bugID);
    app->add_option("text", options->text, "What to type; control characters are left out")->required();
    app->add_flag("--enter", options->enter, "Press Enter behind it");
    app->add_flag("--raw", options->raw, "Send its control characters, too");
    app->add_flag("--json", options->json, "Print what was sent, as JSON: an object");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return sessionsSend(*options); }; });
}

}  // namespace

void addSessionsCommand(CLI::App& program, ChosenCommand& chosen) {
    CLI::App* sessions = program.add_subcommand("sessions", "The sessions that run");
    sessions->require_subcommand(1);
    addList(*sessions, chosen);
    addShow(*sessions, chosen);
    addSessionActions(*sessions, chosen);
    addAttach(*sessions, chosen);
    addSend(*sessions, chosen);
    addTranscriptCommands(*sessions, chosen);
}

}  // namespace quernlight::host
