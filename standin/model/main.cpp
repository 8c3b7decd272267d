// standin-model: what a released agent talks to in the place of a model, a real HTTP server that plays a
// plan.

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>
#include <boost/asio/io_context.hpp>

#include "standin/backend/json_text.hpp"
#include "standin/backend/object_reader.hpp"
#include "standin/backend/server.hpp"
#include "standin/model/player.hpp"
#include "standin/model/request_log.hpp"

namespace quernlight::standin::model {
namespace {

constexpr const char* footer =
    R"(The plan: {"default": [STEP, ...], "bugs": {"3f2a9c1d": [STEP, ...]}}, read anew for each request.
  {"do": "shell", "command": "..."}
  {"do": "tool", "tool": "create_comment", "arguments": {...}}
  {"do": "say", "text": "..."}
  {"do": "complete"}
  {"do": "wait", "seconds": 60, "times": 1}
  {"do": "refuse", "status": 429, "resets_in_seconds": 60, "until": 1782000000, "limit": "usage",
   "retry_after": 20, "text": "...", "times": 1}
In texts {bug_id}, {session_id}, {queue_item_id}, {branch} and {worktree} stand for what the goal says.)";

struct Options {
    std::uint16_t port = 0;
    std::filesystem::path plan;
    std::filesystem::path log;
    bool exitWithStdin = false;
};

/// The options, or the exit status when help was asked for.
std::optional<int> parse(int argc, const char* const* argv, Options& options) {
    CLI::App app("A model for released agents: an HTTP server on 127.0.0.1 that plays a plan.",
                 "standin-model");
    app.footer(footer);
    app.add_option("--port", options.port, "Port on 127.0.0.1; 0 picks a free one")->capture_default_str();
    app.add_option("--plan", options.plan, "JSON file with what to do for each bug (see below)");
    app.add_option("--log", options.log, "File that every request adds a line to");
    app.add_flag("--exit-with-stdin", options.exitWithStdin, "End when standard input ends");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    }
    return std::nullopt;
}

/// What a request meets.
class Model {
  public:
    explicit Model(const Options& options) : plan_(options.plan), log_(options.log) {}

    Response handle(const Request& request) {
        const Instant now = currentInstant();
        if (request.method != "POST" || !request.path().ends_with("/responses")) {
            log_.addOther(request, now);
            return errorResponse(404, "There is no such resource.");
        }
        try {
            const Conversation conversation = readConversation(request);
            Turn turn = player_.answer(currentPlan(), conversation, now);
            log_.add(conversation, turn, now);
            return std::move(turn.response);
        } catch (const InvalidInput& error) {
            std::cerr << "standin-model: " << error.what() << std::endl;
            return errorResponse(400, error.what());
        }
    }

  private:
    Plan currentPlan() const {
        return plan_.empty() ? Plan() : Plan::fromJson(readTextFile(plan_, "The plan"));
    }

    const std::filesystem::path plan_;
    Player player_;
    RequestLog log_;
};

int run(int argc, const char* const* argv) {
    Options options;
    if (const auto status = parse(argc, argv, options)) {
        return *status;
    }
    Model model(options);
    boost::asio::io_context io(1);
    Server server = listenOn(io, {.name = "standin-model", .port = options.port},
                             [&model](const Request& request) { return model.handle(request); });
    serveUntilStopped(io, server, options.exitWithStdin);
    return EXIT_SUCCESS;
}

}  // namespace
}  // namespace quernlight::standin::model

int main(int argc, char** argv) {
    try {
        return quernlight::standin::model::run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "standin-model: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
