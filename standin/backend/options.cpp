#include "standin/backend/options.hpp"

#include <stdexcept>

#include <CLI/CLI.hpp>

#include "quernlight/platform/text.hpp"
#include "standin/backend/json_text.hpp"

namespace quernlight::standin {
namespace {

constexpr const char* footer =
    R"(Seed: {"apps": [...], "bugs": [...], "comments": [...]}, each list may be left out.
  an app      bundle_id, name; [id]
  a bug       title, bundle_id (not needed with exactly one app; an unknown one makes an app);
              [id, app_name, description, reporter, app_version, os_version, device_model, device_name,
              metadata, status ("open"), pr_url, occurred_at, created_at, updated_at, duplicate_of, log_s3_key,
              logs, attachments]; without created_at the first listed is the oldest
  a comment   bug_id, body; [id, author_type, metadata, created_at, updated_at, attachments]
  attachment  filename; [id, content_type, size_bytes, created_at]
A state file is a seed too.

Fault: {"kind": KIND, "path_prefix": "/v1/", "method": "GET", "times": 3, ...}; only the kind is needed.
  delay          answers "delay_ms" milliseconds later
  status         answers with "status" (and "body") and does nothing else
  malformed_json sends half of the answer's JSON
  cut_connection hangs up in the middle of the answer's body
  logs_required  filing a bug without logs gets 400 "Logs Required"
At run time: POST /standin/faults {"clear": true, "set": [FAULT, ...]} with the admin token.)";

struct CommandLine {
    Options options;
    std::filesystem::path tokenFile;
    std::filesystem::path agentTokenFile;
    std::filesystem::path seed;
    std::filesystem::path state;
    std::vector<std::string> faults;
};

void describe(CLI::App& app, CommandLine& line) {
    app.footer(footer);
    line.options.largestBody = 64 * 1024 * 1024;
    app.add_option("--port", line.options.port, "Port on 127.0.0.1; 0 picks a free one")
        ->capture_default_str();
    auto* token = app.add_option("--token", line.options.token, "The admin token");
    app.add_option("--token-file", line.tokenFile, "File that holds the admin token")->excludes(token);
    app.add_option("--agent-token-file", line.agentTokenFile,
                   "File that holds the token of the agents' tools");
    app.add_option("--seed", line.seed, "JSON file with what to hold at the start (see below)");
    app.add_option("--state", line.state, "File kept up to date with everything held, as JSON");
    app.add_option("--fault", line.faults, "A fault in force from the start, as JSON (see below); repeatable")
        ->expected(1)
        ->take_all();
    app.add_option("--max-body", line.options.largestBody, "Largest body of a request, in bytes")
        ->capture_default_str();
    app.add_flag("--exit-with-stdin", line.options.exitWithStdin, "End when standard input ends");
}

Options resolved(CommandLine line) {
    Options& options = line.options;
    if (!line.tokenFile.empty()) {
        options.token = std::string(trimmed(readTextFile(line.tokenFile, "The token file")));
    }
    if (!line.agentTokenFile.empty()) {
        options.agentToken =
            std::string(trimmed(readTextFile(line.agentTokenFile, "The agents' token file")));
    }
    if (options.token.empty()) {
        throw std::runtime_error("An admin token is needed: give --token or --token-file.");
    }
    if (!line.seed.empty()) {
        options.seed = line.seed;
    }
    if (!line.state.empty()) {
        options.state = line.state;
    }
    for (const std::string& fault : line.faults) {
        options.faults.push_back(faultFromJson(parseJson(fault, "The fault")));
    }
    return std::move(options);
}

/// CLI11 reports some errors over several lines.
std::string oneLine(std::string text) {
    for (char& character : text) {
        character = character == '\n' ? ' ' : character;
    }
    return text;
}

}  // namespace

std::variant<Options, int> parseOptions(int argc, const char* const* argv) {
    CLI::App app("A bug backend for tests: an HTTP server on 127.0.0.1 that keeps bugs in memory.",
                 "standin-backend");
    CommandLine line;
    describe(app, line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& asked) {
        return app.exit(asked);
    } catch (const CLI::ParseError& error) {
        throw std::runtime_error("The command line is wrong: " + oneLine(error.what()));
    }
    return resolved(std::move(line));
}

}  // namespace quernlight::standin
