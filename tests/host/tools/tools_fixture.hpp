#pragma once

#include <memory>
#include <string>
#include <vector>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

#include "host/control/control_server.hpp"
#include "host/store/dispatch_store.hpp"
#include "host/tools/tool_calls.hpp"
#include "host/tools/tool_server.hpp"
#include "quernlight/dispatch/queue_manager.hpp"
#include "tests/host/published_events.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/standin/backend_process.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host::test {

/// The owner's side of the tools on a real socket, with a real database, between agents and a real backend
/// process that holds bugs 3f2a9c1d and 3f2a9c1e of the app "Shop" and 5a5a5a5a of another.
class ToolsFixture : public testing::Test {
  protected:
    /// What a session has of its own.
    struct Agent {
        Uuid sessionID{};
        std::filesystem::path worktree{};
        std::filesystem::path secretFile{};
        std::vector<QLCommentDTO> reported{};
        std::function<void()> whenReported = [] {};
    };

    ToolsFixture() {
        calls.offerOn(router);
        control = std::make_unique<ControlServer>(io.get_executor(), home, router, clock);
    }
    ~ToolsFixture() override { run(control->end()); }

    template <class Result>
    Result run(Task<Result> task) {
        return quernlight::test::runTask(io, std::move(task));
    }

    /// A session on the bug begins, the n-th attempt of its item.
    std::unique_ptr<Agent> begin(const std::string& bugID) {
        const BugQueueItem item = enqueue(bugID);
        auto agent = std::make_unique<Agent>();
        agent->sessionID = randomUuid();
        agent->worktree = directory / ("worktree-" + bugID);
        const auto attempt = run(recordAttempt(item, agent->sessionID));
        std::filesystem::create_directories(agent->worktree);
        agent->secretFile = access.grant({.sessionID = agent->sessionID,
                                          .item = item,
                                          .worktree = agent->worktree,
                                          .attemptDirectory = attempt,
                                          .reported = [raw = agent.get()](const QLCommentDTO& comment) {
                                              raw->reported.push_back(comment);
                                              raw->whenReported();
                                          }});
        return agent;
    }

    /// The agent calls a tool, through the socket and with its secret, as its tool server does.
    ToolAnswer call(const Agent& agent, const std::string& tool, const std::string& arguments = "{}") {
        return run(toolServerOf(agent)(tool, boost::json::parse(arguments).as_object()));
    }
    ToolCaller toolServerOf(const Agent& agent) const {
        return askingOwner(
            {.home = home, .sessionID = upperCaseText(agent.sessionID), .secretFile = agent.secretFile});
    }

    std::vector<QLCommentDTO> comments(const std::string& bugID) { return run(client.fetchComments(bugID)); }
    std::string backendStatus(const std::string& bugID) {
        return run(client.fetchBugDetail(bugID)).bug.status;
    }

    /// The backend misbehaves so from now on; "[]": not at all.
    void faults(const std::string& set) {
        HttpRequest request{.method = "POST",
                            .url = *Url::parse(address + "/standin/faults"),
                            .headers = {{"Authorization", std::string("Bearer ") + token},
                                        {"Content-Type", "application/json"}},
                            .body = R"({"clear":true,"set":)" + set + "}"};
        HttpSession session;
        ASSERT_EQ(run(session.send(std::move(request))).status, 200);
    }

    /// The sentences of the refusals in the item's history.
    std::vector<std::string> refusals(const std::string& bugID) {
        std::vector<std::string> sentences;
        const auto item = run(store.items.item(std::string_view(bugID)));
        for (const QueueEvent& event : run(store.items.events(item->id))) {
            if (isOfKind(event, EventKind::toolRefused)) {
                sentences.push_back(event.message);
            }
        }
        return sentences;
    }

    static constexpr const char* token = "the-administrators-secret";

  private:
    static Task<std::optional<DispatchStore>> opened(std::filesystem::path file) {
        co_return co_await DispatchStore::open(std::move(file));
    }
    std::vector<std::string> backendArguments() {
        quernlight::test::writeFile(directory / "token", token);
        quernlight::test::writeFile(directory / "seed.json", R"({"apps":[
            {"bundle_id":"com.acme.shop","name":"Shop"},{"bundle_id":"com.acme.bank","name":"Bank"}],"bugs":[
            {"id":"3f2a9c1d-0000-4000-8000-000000000000","title":"Crash","bundle_id":"com.acme.shop"},
            {"id":"3f2a9c1e-0000-4000-8000-000000000000","title":"Hang","bundle_id":"com.acme.shop"},
            {"id":"5a5a5a5a-0000-4000-8000-000000000000","title":"Theft","bundle_id":"com.acme.bank"}]})");
        return {"--exit-with-stdin", "--token-file", directory / "token", "--seed", directory / "seed.json"};
    }
    BugQueueItem enqueue(const std::string& bugID) {
        if (const auto known = run(store.items.item(std::string_view(bugID)))) {
            return *known;
        }
        QLBugSummaryDTO bug;
        bug.id = bugID;
        bug.bundleID = "com.acme.shop";
        bug.appName = "Shop";
        return run(manager.enqueue(bug, QueueMode::automatic));
    }
    Task<std::filesystem::path> recordAttempt(BugQueueItem item, Uuid sessionID) {
        SessionAttemptRecord attempt{.id = randomUuid(), .queueItemID = item.id, .bugID = item.bugID};
        attempt.attemptNumber = co_await store.attempts.nextAttemptNumber(item.id);
        attempt.completionMarker = upperCaseText(sessionID);
        attempt.startedAt = clock.now();
        co_await store.attempts.insert(attempt);
        std::filesystem::path made = home / (item.bugID + "-" + std::to_string(attempt.attemptNumber));
        std::filesystem::create_directories(made);
        co_return made;
    }
    std::filesystem::path madeHome() {
        std::filesystem::create_directories(directory / "home");
        return directory / "home";
    }

    quernlight::test::TemporaryDirectory directory;
    quernlight::test::BackendProcess backend{backendArguments()};

  protected:
    const std::filesystem::path home = madeHome();
    const std::string address = "http://127.0.0.1:" + std::to_string(backend.port());
    boost::asio::io_context io;
    DispatchStore store = run(opened(home / "queue.sqlite")).value();
    EventPublisher events;
    quernlight::test::PublishedEvents published{events};
    QueueManager manager{store.items, store.mappings, *Url::parse(address)};
    QuernlightClient client{*Url::parse(address), token, std::make_shared<HttpSession>()};
    SystemClock clock;
    BackgroundExecutor background;
    ToolAccess access;
    ToolCalls calls{{.access = access, .items = store.items, .events = events, .clock = clock},
                    BugTools(client, store.attempts, background)};
    ControlRouter router;
    std::unique_ptr<ControlServer> control;
};

}  // namespace quernlight::host::test
