#include "tests/standin/codex_session.hpp"

#include <algorithm>
#include <chrono>
#include <thread>

#include <sqlite3.h>

#include "tests/support/run_task.hpp"

namespace quernlight::standin::test {
namespace {

std::optional<std::string> firstText(const std::filesystem::path& database, const std::string& query) {
    sqlite3* connection = nullptr;
    sqlite3_stmt* statement = nullptr;
    std::optional<std::string> text;
    if (sqlite3_open_v2(database.c_str(), &connection, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK &&
        sqlite3_prepare_v2(connection, query.c_str(), -1, &statement, nullptr) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW) {
        text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
    }
    sqlite3_finalize(statement);
    sqlite3_close(connection);
    return text;
}

/// What a dispatcher always gives an agent.
std::vector<std::string> configurationIn(const std::filesystem::path& directory) {
    const std::string trust =
        "projects={\"" + std::filesystem::canonical(directory).string() + "\"={trust_level=\"trusted\"}}";
    return {"-c",
            trust,
            "-c",
            "features.goals=true",
            "-c",
            "features.daemon_auto_start=false",
            "-c",
            "check_for_update_on_startup=false",
            "--no-alt-screen"};
}

}  // namespace

AgentTerminal& CodexSession::start(const std::vector<std::string>& variables,
                                   const std::vector<std::string>& arguments) {
    return startIn(repository.directory(), variables, arguments);
}

AgentTerminal& CodexSession::startIn(const std::filesystem::path& directory,
                                     const std::vector<std::string>& variables,
                                     const std::vector<std::string>& arguments) {
    std::vector<std::string> all = configurationIn(directory);
    all.insert(all.end(), arguments.begin(), arguments.end());
    return launch(directory, variables, all);
}

AgentTerminal& CodexSession::startWith(const std::vector<std::string>& arguments,
                                       const std::vector<std::string>& variables) {
    return launch(repository.directory(), variables, arguments);
}

AgentTerminal& CodexSession::launch(const std::filesystem::path& directory,
                                    const std::vector<std::string>& variables,
                                    const std::vector<std::string>& arguments) {
    if (!std::filesystem::exists(home() / "standin.json")) {
        configure();
    }
    std::vector<std::string> environment = repository.environment();
    environment.push_back("CODEX_HOME=" + home().string());
    environment.insert(environment.end(), variables.begin(), variables.end());
    environment.push_back("STANDIN_CODEX_DELAY_MS=4");
    terminal.emplace(AgentTerminal::Launch{.executable = STANDIN_CODEX_PATH,
                                           .arguments = arguments,
                                           .environment = environment,
                                           .directory = directory});
    return *terminal;
}

AgentTerminal& CodexSession::startAtPrompt(const std::vector<std::string>& variables,
                                           const std::vector<std::string>& arguments) {
    AgentTerminal& started = start(variables, arguments);
    EXPECT_TRUE(started.sees("›")) << started.output();
    return started;
}

void CodexSession::paste(std::string text) {
    std::replace(text.begin(), text.end(), '\n', '\r');
    terminal->type("\x1b[200~" + text + "\x1b[201~");
}

void CodexSession::submit(const std::string& goal) {
    paste(goal);
    const std::string mark = "[Pasted Content " + std::to_string(goal.size()) + " chars]";
    EXPECT_TRUE(terminal->sees(goal.size() > 1000 ? mark : goal.substr(0, goal.find('\n'))));
    terminal->type("\r");
}

void CodexSession::leave() {
    terminal->type("/exit");
    EXPECT_TRUE(terminal->sees("/exit"));
    terminal->type("\r");
}

void CodexSession::workOn(const std::string& goal) {
    submit(goal);
    EXPECT_TRUE(terminal->sees("›")) << terminal->output();  // the composer, which is empty again
    EXPECT_TRUE(terminal->sees("›")) << terminal->output();
}

void CodexSession::addWorktree() {
    repository.git({"worktree", "add", "--quiet", "-b", names().branch, names().worktree(), "origin/main"});
}

void CodexSession::configure(const std::string& members) {
    quernlight::test::writeFile(home() / "standin.json", R"({"backend":")" + backend.url() +
                                                             R"(","token":"agent-token")" + members + "}");
}

GoalNames CodexSession::names() const {
    GoalNames names;
    names.worktreeRoot = repository.scratch("worktrees").string();
    return names;
}

std::vector<std::string> CodexSession::comments() const {
    std::vector<std::string> bodies;
    for (const RecordingBackend::Request& request : backend.requests()) {
        if (request.line == "POST /v1/bugs/3f2a9c1d/comments") {
            bodies.push_back(request.body);
        }
    }
    return bodies;
}

std::string CodexSession::awaitState(const std::string& query) const {
    const auto deadline = std::chrono::steady_clock::now() + quernlight::test::generousBound;
    while (std::chrono::steady_clock::now() < deadline) {
        if (const auto text = firstText(home() / "state_5.sqlite", query)) {
            return *text;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ADD_FAILURE() << "no row for " << query;
    return {};
}

}  // namespace quernlight::standin::test
