#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include "host/session/bug_session.hpp"
#include "tests/host/fake_codex_runner.hpp"
#include "tests/host/services_fixture.hpp"
#include "tests/host/stepped_clock.hpp"

namespace quernlight::host::test {

/// A session on bug 3f2a9c1d over a real database, with an agent, a clock, git and a backend that do what the
/// test says: it takes no time but that of its computations.
class SessionFixture : public ServicesFixture {
  protected:
    SessionFixture() {
        std::filesystem::create_directories(repository);
        settings.agentCommand = {"/bin/true"};
        settings.idleTimeoutSeconds = 60;
        settings.postExitGraceSeconds = 20;
        agent.endOn("enter");
    }

    /// The session begins and goes on until it waits, or has ended.
    void begin() {
        const AppMapping mapping = run(store.mappings.mapping("com.acme.shop")).value();
        session.emplace(sessionServices, outside(), item(bug), mapping);
        boost::asio::co_spawn(io, session->run(), [this](const std::exception_ptr& thrown) {
            hasEnded = true;
            failure = thrown;
        });
        settle();
    }
    /// The same up to an agent that has its goal.
    void work() {
        begin();
        agent.showPrompt();
        advance(std::chrono::seconds(4));
    }
    /// The agent of the session to come is given our tool server.
    void offerTools(const std::string& agentHome = "") {
        sessionServices.toolServer = "/opt/quernlight-dispatch";
        sessionServices.environment["CODEX_HOME"] = agentHome;
    }
    /// The tools as they were granted to the session; null when they were not.
    std::shared_ptr<ToolSession> grantedTools() { return tools.session(session->sessionID()); }

    /// The agent's tool posts its report, which takes until `endReporting`.
    void beginReporting() {
        boost::asio::co_spawn(io, grantedTools()->calls.once("comment", posting()), boost::asio::detached);
        settle();
    }
    void endReporting() {
        posted.notify();
        settle();
        advance(std::chrono::seconds(1));
    }
    void advance(std::chrono::nanoseconds duration) { time.advance(duration); }
    /// And so long afterwards that "/exit" is typed.
    void raise(StopLevel level) {
        stop.raise(level);
        settle();
        advance(std::chrono::milliseconds(500));
    }
    /// A person stops this session.
    void stopSession() {
        session->stop();
        settle();
        advance(std::chrono::milliseconds(500));
    }
    void exits(int code) {
        agent.exit(code);
        settle();
    }
    void writes(const std::string& text) {
        agent.say(text);
        settle();
    }
    /// The agent's comment is there from now on; the session sees it when it looks.
    void reports(const std::string& reportedStatus) {
        JSONValue::Object metadata{{"queue_item_id", JSONValue::string(upperCaseText(bug))},
                                   {"session_id", JSONValue::string(upperCaseText(session->sessionID()))},
                                   {"status", JSONValue::string(reportedStatus)}};
        comments.push_back({.id = reportID,
                            .bugID = "3f2a9c1d",
                            .body = "Which locale?",
                            .createdAt = time.now(),
                            .updatedAt = time.now(),
                            .attachments = {},
                            .authorType = "agent",
                            .metadata = JSONValue::object(std::move(metadata))});
    }
    /// From now on no item can get this status.
    void failWritesOf(const std::string& newStatus) {
        run(store.database->execute("CREATE TRIGGER fault BEFORE UPDATE ON queue_items WHEN NEW.status = '" +
                                    newStatus + "' BEGIN SELECT RAISE(ABORT, 'disk is full'); END"));
    }
    /// The steps by which the agent was stopped, each with the seconds since the first: "enter 2".
    std::vector<std::string> steps() const {
        std::vector<std::string> texts;
        for (const auto& [step, moment] : agent.steps) {
            const auto since =
                std::chrono::duration_cast<std::chrono::seconds>(moment - agent.steps.front().second);
            texts.push_back(step + " " + std::to_string(since.count()));
        }
        return texts;
    }
    QueueItemStatus status() { return ServicesFixture::status(bug); }
    std::string history() { return ServicesFixture::history(bug); }
    SessionAttemptRecord attempt() { return ServicesFixture::attempt(bug); }
    std::string lastShown() const { return published.stages.empty() ? "" : published.stages.back(); }

    const Uuid bug = enqueue("3f2a9c1d").id;
    const Uuid reportID = *parseUuid("0A000000-0000-4000-8000-00000000000A");
    SteppedClock time{[this] { settle(); }};
    ReadyPrompts prompts{io.get_executor()};
    FakeCodexRunner agent{prompts, time};
    RunningTime running{readClocks(time), [] {}};
    GitWorktreePrepareResult worktree = WorktreeCreated{};
    std::vector<QLCommentDTO> comments;
    std::exception_ptr backendTrouble;
    std::function<void()> whilePreparing = [] {};
    bool branchHasCommits = false;
    bool isGitGuarded = false;
    bool isHomeInPlace = true;
    bool hasEnded = false;
    std::exception_ptr failure;  // that the session has ended on

  private:
    Task<GitWorktreePrepareResult> prepared() {
        whilePreparing();
        co_return worktree;
    }
    Task<ReadableList<QLCommentDTO>> fetched() {
        if (backendTrouble) {
            std::rethrow_exception(backendTrouble);
        }
        co_return ReadableList<QLCommentDTO>{.records = comments, .unreadable = {}};
    }
    Task<bool> earlierWork() { co_return branchHasCommits; }
    Task<ToolResult> posting() {
        co_await posted.wait();
        reports("in_review");
        co_return ToolResult{};
    }
    static Task<GitRunner> same(GitRunner git) { co_return git; }
    static Task<std::optional<Url>> noPullRequest() { co_return std::nullopt; }
    static Task<std::optional<CodexSessionRecord>> noConversation() { co_return std::nullopt; }
    Task<GoalRecord> recorded(std::string objective) { co_return agent.recordOf(objective); }

    SessionOutside outside() {
        return {
            .prepareWorktree = [this](PrepareBugRequest, PreparationGit, WorktreeUse) { return prepared(); },
            .hasEarlierWork = [this](PrepareBugRequest, GitRunner) { return earlierWork(); },
            .guardGit =
                [this](GitRunner git, std::string) {
                    isGitGuarded = true;
                    return same(std::move(git));
                },
            .fetchComments = [this](std::string) { return fetched(); },
            .pullRequestURL = [](std::string) { return noPullRequest(); },
            .findConversation = [](std::string, Instant) { return noConversation(); },
            .findGoalRecord = [this](std::string objective) { return recorded(std::move(objective)); }};
    }

    std::size_t poll() {
        io.restart();
        return io.poll();
    }

    /// Nothing is left to do before the time goes on: not here, nor on the threads of database and screens.
    void settle() {
        const auto deadline = std::chrono::steady_clock::now() + quernlight::test::generousBound;
        do {
            poll();
            quernlight::test::runTask(store.database->query("SELECT 1"));  // on a loop of its own
            quernlight::test::runTask(drawing.run([] { return true; }));
            if (std::chrono::steady_clock::now() > deadline) {
                throw std::runtime_error("the session does not come to rest");
            }
        } while (poll() > 0);
    }

    SessionServices sessionServices{.home = directory / "home",
                                    .store = store,
                                    .manager = manager,
                                    .client = services.client,
                                    .runner = agent,
                                    .readyPrompts = prompts,
                                    .firstLaunch = firstLaunch,
                                    .tools = tools,
                                    .background = background,
                                    .drawing = drawing,
                                    .screens = screens,
                                    .repositories = repositories,
                                    .clock = time,
                                    .stop = stop,
                                    .commentRateLimiter = commentRateLimiter,
                                    .health = health,
                                    .disk = disk,
                                    .runningTime = running,
                                    .startPauses = startPauses,
                                    .instructions = {},
                                    .environment = {},
                                    .settings = settings,
                                    .events = events,
                                    .history = historyPublisher,
                                    .homeIsInPlace = [this] { return isHomeInPlace; }};
    std::optional<BugSession> session;
    AsyncSignal posted;
};

}  // namespace quernlight::host::test
