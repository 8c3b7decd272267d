#include "tests/agents/released_agents_fixture.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

#include <boost/algorithm/string/trim.hpp>
#include <boost/json.hpp>

#include "quernlight/platform/process_table.hpp"
#include "quernlight/platform/text.hpp"
#include "quernlight/storage/connection.hpp"

namespace quernlight::test {
namespace fs = std::filesystem;
namespace json = boost::json;
namespace {

constexpr std::size_t mostInterrupted = 10;
constexpr std::chrono::minutes longestRun{20};
constexpr std::chrono::minutes longestWayToTheMiddle{5};

std::size_t numberOfBugs() {
    const char* text = std::getenv("BUGS");
    return text ? std::stoul(text) : 30;
}

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

/// The processes that name this directory in their arguments or their environment, and there have the text,
/// too; each as "PID NAME".
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

/// The usual road with two waits in its middle, one for each time that it is interrupted. What follows comes
/// at once, before a new goal can be typed, or late, while one is being worked on.
json::array waitingSteps(bool late) {
    json::array steps = json::parse(R"([
      {"do": "tool", "tool": "update_bug_status", "arguments": {"bug_id": "{bug_id}", "status": "investigate"}},
      {"do": "shell", "command": "echo begun >> FIXED"},
      {"do": "wait", "seconds": 3600, "times": 2},
      {"do": "shell", "command": "git add FIXED && git commit --quiet --message 'Fix {bug_id}'"},
      {"do": "tool", "tool": "create_comment", "arguments": {
        "bug_id": "{bug_id}", "body": "It works again.", "status": "in_review",
        "metadata": {"queue_item_id": "{queue_item_id}", "session_id": "{session_id}", "status": "in_review"}}},
      {"do": "complete"},
      {"do": "say", "text": "Bug {bug_id} is in review."}])")
                            .as_array();
    if (late) {
        steps.insert(steps.begin() + 3, json::object{{"do", "wait"}, {"seconds", 12}});
    }
    return steps;
}

}  // namespace

ReleasedAgentsFixture::ReleasedAgentsFixture()
    : model_({"--plan", repository.scratch("plan.json"), "--log", repository.scratch("model.log"),
              "--exit-with-stdin"},
             STANDIN_MODEL_PATH) {
    environment["PATH"] = std::getenv("PATH");  // the agent's interpreter may be anywhere
    for (std::size_t number = 0; number < numberOfBugs(); ++number) {
        bugs.push_back(std::to_string(10000000 + number));
        reportClearBug(bugs.back());
    }
    interrupted.assign(bugs.begin(),
                       bugs.begin() + static_cast<long>(std::min(bugs.size() / 3, mostInterrupted)));
    writePlan();
    writeAgentConfiguration();
}

ReleasedAgentsFixture::~ReleasedAgentsFixture() {
    if (HasFailure()) {
        keepForALook();
    }
}

void ReleasedAgentsFixture::writePlan() {
    json::object ofBugs;
    for (const std::string& bugID : interrupted) {
        ofBugs[bugID] = waitingSteps(ofBugs.size() % 2 == 1);
    }
    writeFile(repository.scratch("plan.json"), json::serialize(json::object{{"bugs", ofBugs}}));
}

void ReleasedAgentsFixture::writeAgentConfiguration() {
    writeFile(repository.scratch("codex-home") / "config.toml",
              "model = \"standin-1\"\nmodel_provider = \"standin\"\n\n[model_providers.standin]\n"
              "name = \"Stand-in\"\nwire_api = \"responses\"\nbase_url = \"http://127.0.0.1:" +
                  std::to_string(model_.port()) + "/v1\"\n");
}

void ReleasedAgentsFixture::mapAndConfigure() {
    mapApp();
    startBackend();
    const fs::path agent = fs::path(AGENTS_DIRECTORY) / release() / "node_modules/.bin/codex";
    const std::pair<std::string, std::string> values[] = {
        {"agent.command", agent}, {"sessions.max", "3"}, {"intake.per_day", "1000"}};
    for (const auto& [key, value] : values) {
        const Outcome set = dispatch({"config", "set", key, value, "--home", home()});
        ASSERT_EQ(set.exitCode, 0) << set.error;
    }
}

template <class Condition>
bool ReleasedAgentsFixture::waitUntil(DispatchProcess& program, std::chrono::minutes atMost,
                                      Condition holds) {
    const auto deadline = std::chrono::steady_clock::now() + atMost;
    while (!holds() && !program.hasEnded() && std::chrono::steady_clock::now() < deadline) {
        for (std::string& place : processesThatHold(token, everything())) {
            leaks.push_back(std::move(place));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    }
    return holds();
}

void ReleasedAgentsFixture::runAndInterrupt(const std::vector<std::string>& waiting, int time, int signal) {
    const auto program = start(runWith());
    const bool allWait = waitUntil(*program, longestWayToTheMiddle, [&] {
        const ModelLog log = modelLog();
        return std::all_of(waiting.begin(), waiting.end(),
                           [&](const std::string& bugID) { return log.timesWaited(bugID) >= time; });
    });
    ASSERT_TRUE(allWait) << "the agents did not get into the middle\n"
                         << program->output() << program->errorText();
    program->signal(signal);
    program->exitCode();
    std::cout << release() << ": interrupted " << waiting.size() << " in the middle by "
              << (signal == SIGINT ? "Ctrl-C" : "kill -9") << std::endl;
}

void ReleasedAgentsFixture::runToTheEnd() {
    const auto program = start(runWith({"--once"}));
    EXPECT_TRUE(waitUntil(*program, longestRun, [&] { return program->hasEnded(); }))
        << "the run does not end";
    EXPECT_EQ(program->exitCode(), 0) << program->output() << program->errorText();
}

std::vector<StoredAttempt> ReleasedAgentsFixture::attempts() {
    Connection database(queueFile(), Connection::Access::readOnly);
    std::vector<StoredAttempt> all;
    for (const auto& row : database.query("SELECT * FROM session_attempts ORDER BY started_at, rowid", {})) {
        const std::optional<std::int64_t> exitCode = row.at("exit_code").asInteger();
        all.push_back({.bugID = textIn(row, "bug_id"),
                       .sessionID = lowercased(textIn(row, "completion_marker")),
                       .goal = withoutCommand(textIn(row, "goal_text")),
                       .exitCode = exitCode ? std::to_string(*exitCode) : "",
                       .startedAt = parseInstant(textIn(row, "started_at")).value_or(Instant())});
    }
    return all;
}

std::vector<std::string> ReleasedAgentsFixture::recordedGoals() {
    std::vector<std::string> goals;
    for (const auto& file : fs::directory_iterator(repository.scratch("codex-home"))) {
        const std::string name = file.path().filename();
        if (name.starts_with("goals_") && name.ends_with(".sqlite")) {
            Connection database(file.path(), Connection::Access::readOnly);
            for (const auto& row : database.query("SELECT objective FROM thread_goals", {})) {
                goals.push_back(textIn(row, "objective"));
            }
        }
    }
    return goals;
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
    const fs::path place = fs::path(AGENTS_DIRECTORY) / ("failed-" + release());
    std::error_code ignored;
    fs::remove_all(place, ignored);
    fs::copy(everything(), place, fs::copy_options::recursive | fs::copy_options::copy_symlinks, ignored);
    std::cout << release() << ": the files of this run are in " << place.string() << std::endl;
}

}  // namespace quernlight::test
