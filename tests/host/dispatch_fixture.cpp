#include "tests/host/dispatch_fixture.hpp"

#include <cstdlib>
#include <sstream>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "host/events/item_history.hpp"
#include "quernlight/backend/quernlight_client.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/storage/connection.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::test {
namespace fs = std::filesystem;
namespace json = boost::json;
namespace {

std::string asText(const SQLValue& value) {
    if (const auto integer = value.asInteger()) {
        return std::to_string(*integer);
    }
    return value.asText() ? *value.asText() : "";
}

std::vector<std::string> joined(std::vector<std::string> first, const std::vector<std::string>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

}  // namespace

DispatchFixture::DispatchFixture() {
    const std::string programs = fs::path(STANDIN_CODEX_PATH).parent_path();
    environment = {{"PATH", programs + ":/usr/local/bin:/usr/bin:/bin"},
                   {"HOME", tokenFile().parent_path()},
                   {"CODEX_HOME", repository.scratch("codex-home")},
                   {"GIT_CONFIG_NOSYSTEM", "1"},
                   {"TMPDIR", temporary()}};
    if (const char* options = std::getenv("TSAN_OPTIONS")) {
        environment["TSAN_OPTIONS"] = options;  // what is no race in the tests is none in the programs
    }
    fs::create_directories(temporary());
    writeFile(tokenFile(), std::string(token) + "\n");
    writeFile(repository.scratch("agent-token"), "the-agents-token");
    fs::permissions(tokenFile(), fs::perms::owner_read | fs::perms::owner_write);
}

void DispatchFixture::report(const std::string& bugID, const std::string& title,
                             const std::string& description) {
    bugs_.push_back(json::object{{"id", bugID + "-0000-4000-8000-000000000000"},
                                 {"title", title},
                                 {"description", description},
                                 {"bundle_id", "com.acme.shop"}});
}

void DispatchFixture::agentDoes(const std::string& bugID, const std::string& behaviour) {
    behaviours_[bugID] = behaviour;
    writeAgentFile();
}

void DispatchFixture::agentDoesAsToldAgain() {
    behaviours_.clear();
    writeAgentFile();
}

void DispatchFixture::writeAgentFile() {
    const json::object access{
        {"backend", address_}, {"token", "the-agents-token"}, {"behaviours", behaviours_}};
    writeFile(repository.scratch("codex-home") / "standin.json", json::serialize(access));
}

void DispatchFixture::startBackend(const std::vector<std::string>& arguments) {
    const json::object app{{"bundle_id", "com.acme.shop"}, {"name", appName}};
    writeFile(repository.scratch("seed.json"),
              json::serialize(json::object{{"apps", json::array{app}}, {"bugs", bugs_}}));
    backend_.emplace(joined({"--exit-with-stdin", "--token-file", tokenFile(), "--agent-token-file",
                             repository.scratch("agent-token"), "--seed", repository.scratch("seed.json"),
                             "--state", repository.scratch("state.json")},
                            arguments));
    address_ = "http://127.0.0.1:" + std::to_string(backend_->port());
    writeAgentFile();
}

std::unique_ptr<DispatchProcess> DispatchFixture::start(const std::vector<std::string>& arguments) {
    const fs::path output = repository.scratch("output-" + std::to_string(++launches_));
    return std::make_unique<DispatchProcess>(DispatchProcess::Launch{.program = executable,
                                                                     .arguments = arguments,
                                                                     .environment = environment,
                                                                     .output = output,
                                                                     .startedBy = startedBy});
}

Outcome DispatchFixture::dispatch(const std::vector<std::string>& arguments) {
    const auto program = start(arguments);
    const int exitCode = program->exitCode();
    return {.exitCode = exitCode, .output = program->output(), .error = program->errorText()};
}

std::vector<std::string> DispatchFixture::runWith(const std::vector<std::string>& more) {
    return joined({"run", "--backend", address_, "--token-file", tokenFile(), "--home", home()}, more);
}

Outcome DispatchFixture::runOnce(const std::vector<std::string>& more) {
    return dispatch(joined(runWith({"--once"}), more));
}

Outcome DispatchFixture::workAll(const std::vector<std::string>& more) {
    mapApp();
    startBackend();
    return runOnce(more);
}

std::vector<std::string> DispatchFixture::mapWith(const std::vector<std::string>& more) {
    return joined({"map", "set", "--bundle", "com.acme.shop", "--app", "Shop", "--home", home()}, more);
}

void DispatchFixture::mapApp() {
    const Outcome outcome = dispatch(mapWith({"--repo", repository.directory()}));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
}

std::string DispatchFixture::item(const std::string& bugID, const std::string& column) {
    return cell("SELECT " + column + " FROM queue_items WHERE bug_id = ?", bugID);
}

std::string DispatchFixture::attempt(const std::string& bugID, const std::string& column) {
    return cell(
        "SELECT " + column + " FROM session_attempts WHERE bug_id = ? ORDER BY attempt_number DESC LIMIT 1",
        bugID);
}

std::string DispatchFixture::events(const std::string& bugID) {
    std::istringstream kinds(history(bugID));
    std::string text;
    for (std::string kind; kinds >> kind;) {
        if (!host::isOwnKind(kind)) {
            text += (text.empty() ? "" : " ") + kind;
        }
    }
    return text;
}

std::string DispatchFixture::history(const std::string& bugID) {
    return cell(
        "SELECT group_concat(kind, ' ') FROM (SELECT kind FROM queue_events WHERE queue_item_id ="
        " (SELECT id FROM queue_items WHERE bug_id = ?) ORDER BY created_at, rowid)",
        bugID);
}

std::string DispatchFixture::cell(const std::string& query, const std::string& bugID) {
    Connection database(queueFile(), Connection::Access::readOnly);
    const auto rows = database.query(query, {SQLValue::text(bugID)});
    return rows.empty() ? "no such row" : asText(rows.front().begin()->second);
}

std::string DispatchFixture::reportClearBugNow() {
    const QuernlightClient client(*Url::parse(address_), token, std::make_shared<HttpSession>());
    const std::vector<QLAppDTO> apps = runTask(client.fetchApps());
    CreateBugRequest bug{.title = "Crash on launch", .description = "Open it. It crashes."};
    return BugID::normalized(runTask(client.createBug(apps.at(0), std::move(bug))).id);
}

void DispatchFixture::userComments(const std::string& bugID, const std::string& body) {
    const QuernlightClient client(*Url::parse(address_), token, std::make_shared<HttpSession>());
    CreateCommentRequest comment{.body = body, .authorType = "user"};
    runTask(client.createComment(bugID, std::move(comment)));
}

void DispatchFixture::agentReports(const std::string& bugID, const std::string& reportedStatus) {
    const QuernlightClient client(*Url::parse(address_), token, std::make_shared<HttpSession>());
    CreateCommentRequest comment{.body = "Done.", .authorType = "agent"};
    comment.metadata = {{"queue_item_id", item(bugID, "id")},
                        {"session_id", attempt(bugID, "completion_marker")},
                        {"status", reportedStatus}};
    runTask(client.createComment(bugID, std::move(comment)));
}

void DispatchFixture::backendFaults(const std::string& json) {
    HttpSession session;
    HttpRequest request{
        .method = "POST",
        .url = *Url::parse(address_ + "/standin/faults"),
        .headers = {{"Authorization", std::string("Bearer ") + token}, {"Content-Type", "application/json"}},
        .body = R"({"clear":true,"set":)" + json + "}"};
    ASSERT_EQ(runTask(session.send(std::move(request))).status, 200);
}

std::string DispatchFixture::backendStatus(const std::string& bugID) {
    const json::value state = json::parse(readFile(repository.scratch("state.json")));
    for (const json::value& bug : state.at("bugs").as_array()) {
        if (std::string_view(bug.at("id").as_string()).starts_with(bugID)) {
            return std::string(bug.at("status").as_string());
        }
    }
    return "no such bug";
}

std::vector<std::string> DispatchFixture::filesHolding(const std::string& text, const fs::path& directory) {
    std::vector<std::string> holding;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        if (entry.is_regular_file() && readFile(entry).find(text) != std::string::npos) {
            holding.push_back(entry.path());
        }
    }
    return holding;
}

}  // namespace quernlight::test
