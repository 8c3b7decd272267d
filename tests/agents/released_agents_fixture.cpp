#include "tests/agents/released_agents_fixture.hpp"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <thread>

#include <boost/algorithm/string/trim.hpp>
#include <boost/json.hpp>
#include <gmock/gmock.h>

#include "quernlight/platform/process_table.hpp"
#include "quernlight/platform/text.hpp"
#include "quernlight/storage/connection.hpp"
#include "tests/agents/told_to_end.hpp"

namespace quernlight::test {
namespace fs = std::filesystem;
namespace json = boost::json;
using testing::IsEmpty;
namespace {

std::string withoutCommand(const std::string& typed) {
    return boost::trim_copy(typed.starts_with("/goal") ? typed.substr(5) : typed);
}

template <class Row>
std::string textIn(const Row& row, const char* column) {
    const std::string* text = row.at(column).asText();
    return text ? *text : "";
}

/// Empty for a process that has ended.
std::string contentOf(pid_t process, const char* name) {
    std::ostringstream content;
    content << std::ifstream("/proc/" + std::to_string(process) + "/" + name, std::ios::binary).rdbuf();
    return content.str();
}

}  // namespace

std::vector<std::string> releases() {
    const char* text = std::getenv("RELEASES");
    std::istringstream words(text ? text : "0.169.0 0.145.0");
    return {std::istream_iterator<std::string>(words), {}};
}

std::string nameOfRelease(const testing::TestParamInfo<std::string>& release) {
    std::string name = release.param;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
}

std::vector<std::string> processesThatHold(const std::string& text, const fs::path& directory) {
    std::vector<std::string> found;
    for (const ProcessEntry& entry : processTable()) {
        const std::string given = contentOf(entry.pid, "cmdline") + contentOf(entry.pid, "environ");
        if (given.find(directory) != std::string::npos && given.find(text) != std::string::npos) {
            found.push_back(std::to_string(entry.pid) + " " + contentOf(entry.pid, "comm"));
        }
    }
    return found;
}

ReleasedAgentsFixture::ReleasedAgentsFixture(std::size_t numberOfBugs) {
    environment["PATH"] = std::getenv("PATH");  // the agent's interpreter may be anywhere
    // It is told to end where this process ends without being able to.
    if (fs::exists("/usr/bin/setpriv")) {
        startedBy = {"/usr/bin/setpriv", "--pdeathsig", "TERM", "--"};
    }
    for (std::size_t number = 0; number < numberOfBugs; ++number) {
        bugs.push_back(std::to_string(10000000 + number));
        reportClearBug(bugs.back());
    }
    modelPlays({});
    startModel();
    writeAgentConfiguration();
}

ReleasedAgentsFixture::~ReleasedAgentsFixture() {
    if (HasFailure() && signalToEnd() == 0) {
        keepForALook();
    }
    endWhatIsLeft();
}

void ReleasedAgentsFixture::SetUp() {
    if (signalToEnd() != 0) {
        GTEST_SKIP();
    }
}

void ReleasedAgentsFixture::modelPlays(const json::object& plan) {
    const fs::path file = repository.scratch("plan.json");
    fs::path written = file;
    written += ".new";  // the model reads the plan whenever it is asked
    writeFile(written, json::serialize(plan));
    fs::rename(written, file);
}

void ReleasedAgentsFixture::startModel() {
    model_.emplace(
        std::vector<std::string>{"--port", std::to_string(port_), "--plan", repository.scratch("plan.json"),
                                 "--log", repository.scratch("model.log"), "--exit-with-stdin"},
        STANDIN_MODEL_PATH);
    port_ = model_->port();
}

void ReleasedAgentsFixture::writeAgentConfiguration() {
    writeFile(repository.scratch("codex-home") / "config.toml",
              "model = \"standin-1\"\nmodel_provider = \"standin\"\n\n[model_providers.standin]\n"
              "name = \"Stand-in\"\nwire_api = \"responses\"\nbase_url = \"http://127.0.0.1:" +
                  std::to_string(port_) + "/v1\"\n");
}

void ReleasedAgentsFixture::mapAndConfigure() {
    mapApp();
    startBackend();
    const fs::path agent = fs::path(AGENTS_DIRECTORY) / release() / "node_modules/.bin/codex";
    const std::pair<std::string, std::string> values[] = {
        {"agent.command", agent}, {"sessions.max", "3"}, {"intake.per_day", "100000"}};
    for (const auto& [key, value] : values) {
        const Outcome set = dispatch({"config", "set", key, value, "--home", home()});
        ASSERT_EQ(set.exitCode, 0) << set.error;
    }
}

ReleasedAgentsFixture::Run ReleasedAgentsFixture::startRun(const std::vector<std::string>& more) {
    return Run(start(runWith(more)).release());
}

void ReleasedAgentsFixture::EndInOrder::operator()(DispatchProcess* program) const {
    const std::unique_ptr<DispatchProcess> owned(program);
    if (!owned->hasEnded()) {
        owned->signal(SIGTERM);
        owned->exitCode();
    }
}

bool ReleasedAgentsFixture::waitUntil(DispatchProcess& program, std::chrono::minutes atMost,
                                      const std::function<bool()>& holds) {
    const auto deadline = std::chrono::steady_clock::now() + atMost;
    while (!holds() && !program.hasEnded() && signalToEnd() == 0 &&
           std::chrono::steady_clock::now() < deadline) {
        lookForToken();
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    }
    return holds();
}

/// In files, which are many, once a second.
void ReleasedAgentsFixture::lookForToken() {
    for (std::string& place : processesThatHold(token, everything())) {
        leaks.push_back(std::move(place));
    }
    const auto now = std::chrono::steady_clock::now();
    if (now - filesSeen_ < std::chrono::seconds(1)) {
        return;
    }
    filesSeen_ = now;
    for (const fs::path& file : tokenInFiles_.look()) {
        if (file != tokenFile()) {
            leaks.push_back(file);
        }
    }
}

void ReleasedAgentsFixture::expectNoProcessLeft() {
    EXPECT_THAT(processesWithEnvironment("CODEX_HOME=" + environment.at("CODEX_HOME")), IsEmpty());
    EXPECT_THAT(processesWorkingIn(everything()), IsEmpty());
}

/// What a killed dispatcher has left behind, and no other has taken on.
void ReleasedAgentsFixture::endWhatIsLeft() {
    auto left = processesWithEnvironment("CODEX_HOME=" + environment.at("CODEX_HOME"));
    const auto working = processesWorkingIn(everything());
    left.insert(left.end(), working.begin(), working.end());
    for (const pid_t process : left) {
        kill(process, SIGKILL);
    }
}

std::vector<StoredAttempt> ReleasedAgentsFixture::attempts() {
    Connection database(queueFile(), Connection::Access::readOnly);
    const auto events = [&database](const auto& attempt, const std::string& kind) {
        return database
            .query("SELECT 1 FROM queue_events WHERE session_id = ? AND kind = ?",
                   {SQLValue::text(textIn(attempt, "completion_marker")), SQLValue::text(kind)})
            .size();
    };
    std::vector<StoredAttempt> all;
    for (const auto& row : database.query("SELECT * FROM session_attempts ORDER BY started_at, rowid", {})) {
        const std::optional<std::int64_t> exitCode = row.at("exit_code").asInteger();
        all.push_back({.bugID = textIn(row, "bug_id"),
                       .sessionID = lowercased(textIn(row, "completion_marker")),
                       .goal = withoutCommand(textIn(row, "goal_text")),
                       .exitCode = exitCode ? std::to_string(*exitCode) : "",
                       .startedAt = parseInstant(textIn(row, "started_at")).value_or(Instant()),
                       .handedOver = events(row, "typed"),
                       .accepted = events(row, "goalAccepted")});
    }
    return all;
}

std::vector<std::string> ReleasedAgentsFixture::reportedSessions(const std::string& bugID) {
    std::vector<std::string> sessions;
    const json::value state = json::parse(readFile(repository.scratch("state.json")));
    for (const json::value& comment : state.at("comments").as_array()) {
        const json::object& metadata = comment.at("metadata").as_object();
        const json::value* session = metadata.if_contains("session_id");
        if (session && std::string_view(comment.at("bug_id").as_string()).starts_with(bugID)) {
            sessions.emplace_back(session->as_string());
        }
    }
    return sessions;
}

std::string ReleasedAgentsFixture::subjectOfBranch(const std::string& bugID) {
    return repository.git({"log", "-1", "--format=%s", "Shop-" + bugID});
}

std::string ReleasedAgentsFixture::story(const std::string& bugID) {
    return "bug " + bugID + " is " + status(bugID) + "; " + item(bugID, "error_message") + "\n" +
           history(bugID);
}

void ReleasedAgentsFixture::keepForALook() {
    const fs::path test = testing::UnitTest::GetInstance()->current_test_info()->name();
    const fs::path place = fs::path(AGENTS_DIRECTORY) / ("failed-" + release()) / test.parent_path();
    std::error_code ignored;
    fs::remove_all(place, ignored);
    fs::create_directories(place, ignored);
    fs::copy(everything(), place, fs::copy_options::recursive | fs::copy_options::copy_symlinks, ignored);
    std::cout << release() << ": the files of this run are in " << place.string() << std::endl;
}

}  // namespace quernlight::test
