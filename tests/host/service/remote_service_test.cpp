#include "host/service/remote_service.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/control/control_client.hpp"
#include "host/control/control_server.hpp"
#include "host/process/home_lock.hpp"
#include "host/service/home_service.hpp"
#include "host/service/service_resource.hpp"
#include "tests/host/service/service_fixture.hpp"

namespace quernlight::host {
namespace {

using testing::Field;
using testing::HasSubstr;

/// The direct service of an owner, offered on the home's socket, and asked over it.
class RemoteServiceTest : public test::ServiceFixture {
  protected:
    RemoteServiceTest() { serve({}); }
    ~RemoteServiceTest() override { stop(); }

    void serve(LiveSources live) {
        stop();
        store();
        service = std::make_unique<DirectService>(access(), std::move(live));
        resource.emplace(*service);
        router.emplace();
        resource->offerOn(*router);
        server.emplace(io.get_executor(), home, *router, clock);
    }
    void stop() {
        if (server) {
            run(server->end());
            server.reset();
        }
    }
    ControlResponse ask(const char* method, const std::string& target, const std::string& body = "") {
        ControlRequest request{.method = method, .target = target, .body = body};
        return run(askOwner(home, std::move(request)));
    }

    SystemClock clock;
    std::optional<ServiceResource> resource;
    std::optional<ControlRouter> router;
    std::optional<ControlServer> server;
    RemoteService remote{home};
};

TEST_F(RemoteServiceTest, AnItemComesAsItIsStoredWithItsHistoryAndAttempts) {
    BugQueueItem item = enqueue("11111111");
    item.errorMessage = "An \x1b[31merror";
    item.codexSessionID = randomUuid();
    item.startedAt = *parseInstant("2026-03-01T10:00:00Z");
    run(store().items.update(item));
    addAttempt(item, 1, SessionAttemptState::failed);
    addAttempt(item, 2);
    const QueueItemDetails here = run(service->queueItem("11111111"));
    const QueueItemDetails there = run(remote.queueItem("11111111"));
    EXPECT_EQ(there.item, here.item);
    EXPECT_EQ(there.stage, here.stage);
    EXPECT_EQ(there.waits, here.waits);
    EXPECT_EQ(there.history, here.history);
    EXPECT_EQ(there.attempts, here.attempts);
    EXPECT_EQ(there.attempts.size(), 2U);
}

TEST_F(RemoteServiceTest, AListLongerThanAPageComesWhole) {
    constexpr int count = 1003;
    for (int number = 0; number < count; ++number) {
        BugQueueItem item{.id = randomUuid(), .bugID = std::to_string(10000000 + number)};
        item.bugURL = *Url::parse("https://bugs.example/1");
        item.queuePosition = number;
        run(store().items.insert(item));
    }
    const auto entries = run(remote.queue()).entries;
    ASSERT_EQ(entries.size(), static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number) {
        EXPECT_EQ(entries[static_cast<std::size_t>(number)].item.queuePosition, number);
    }
}

TEST_F(RemoteServiceTest, AChangeIsMadeAndItsItemComesBack) {
    const BugQueueItem first = enqueue("11111111");
    const BugQueueItem second = enqueue("22222222");
    QueueChange move{.action = QueueAction::reorder, .bugID = "22222222", .before = "11111111"};
    EXPECT_EQ(run(remote.change(move)).item.queuePosition, 0);
    EXPECT_EQ(run(remote.change({.action = QueueAction::moveToManual, .bugID = "1111"})).item.queueMode,
              QueueMode::manual);
    EXPECT_EQ(stored(first).queueMode, QueueMode::manual);
    run(remote.change({.action = QueueAction::remove, .bugID = "22222222"}));
    EXPECT_FALSE(run(store().items.item(second.id)));
}

TEST_F(RemoteServiceTest, AnErrorKeepsItsCodeAndSentence) {
    enqueue("11111111");
    enqueue("11112222");
    enqueueAs("33333333", QueueItemStatus::completed);
    const QueueChange again{.action = QueueAction::retry, .bugID = "33333333", .consent = {.again = true}};
    const auto changeOf = [](QueueAction action, const char* bugID) {
        return QueueChange{.action = action, .bugID = bugID};
    };
    EXPECT_EQ(codeOf(remote.queueItem("99999999")), ServiceErrorCode::notFound);
    EXPECT_EQ(codeOf(remote.queueItem("1111")), ServiceErrorCode::ambiguous);
    EXPECT_EQ(codeOf(remote.change(changeOf(QueueAction::start, "11111111"))), ServiceErrorCode::refused);
    EXPECT_EQ(codeOf(remote.change(again)), ServiceErrorCode::needsConfirmation);
    EXPECT_EQ(codeOf(remote.setSetting("sessions.max", "many")), ServiceErrorCode::invalid);
    EXPECT_STREQ(errorOf(remote.queueItem("1111")).what(), errorOf(service->queueItem("1111")).what());
}

TEST_F(RemoteServiceTest, MappingsAreListedAndForgotten) {
    mapApp();
    EXPECT_EQ(run(remote.mappings()), run(service->mappings()));
    EXPECT_THAT(run(remote.checkMappings()),
                testing::ElementsAre(Field(&MappingCheck::trouble, HasSubstr("no git repository"))));
    EXPECT_EQ(run(remote.removeMapping("com.acme.shop")).repoPath, "/code/shop");
    EXPECT_TRUE(run(service->mappings()).empty());
    EXPECT_EQ(codeOf(remote.removeMapping("com.acme.shop")), ServiceErrorCode::notFound);
}

TEST_F(RemoteServiceTest, AMappingThatCannotBeUsedIsRefused) {
    const MappingRequest request{.bundleID = "com.acme.shop", .appName = "Shop", .repository = "/nowhere"};
    EXPECT_EQ(codeOf(remote.setMapping(request)), ServiceErrorCode::invalid);
}

TEST_F(RemoteServiceTest, SettingsAreReadAndSet) {
    EXPECT_EQ(run(remote.setSetting("sessions.max", "4")).text, "4");
    EXPECT_TRUE(run(remote.setting("sessions.max")).isSet);
    EXPECT_EQ(run(remote.settings()).values.size(), run(service->settings()).values.size());
    EXPECT_FALSE(run(remote.unsetSetting("sessions.max")).isSet);
}

TEST_F(RemoteServiceTest, WhatOnlyTheOwnerKnowsComesToo) {
    enqueueAs("11111111", QueueItemStatus::running);
    enqueueAs("22222222", QueueItemStatus::completed);
    const BugProgress progress{.bugID = "11111111", .stage = SessionStage::agentExited, .exitCode = 3};
    const SeenAgent agent{.attemptNumber = 2, .pid = 4711, .state = "idle", .rule = "composer"};
    HealthReport health{.backend = {Condition::State::troubled, "Silent."}, .alerts = {"Starts pause."}};
    health.owner =
        OwnerReport{.pid = 17, .backend = "https://bugs.example", .maxSessions = 2, .memoryMiB = 512};
    serve({.pullRequest = [](const std::string&) { return Url::parse("https://git.example/pull/1"); },
           .health = [health] { return health; },
           .progress =
               [progress] {
                   return std::map{std::pair{progress.bugID, progress}};
               },
           .agent = [agent](const std::string&) { return agent; }});
    const RunningSession session = run(remote.sessions()).at(0);
    EXPECT_EQ(session.stage, SessionStage::agentExited);
    EXPECT_EQ(session.exitCode, 3);
    EXPECT_EQ(session.agent.value().pid, 4711);
    EXPECT_EQ(run(remote.review()).at(0).pullRequest->text(), "https://git.example/pull/1");
    const HealthReport told = run(remote.health());
    EXPECT_EQ(told.backend.trouble, "Silent.");
    EXPECT_EQ(told.owner.value().memoryMiB, 512U);
    EXPECT_EQ(told.disk.state, Condition::State::unknown);
}

TEST_F(RemoteServiceTest, ARetiredBugIsKnown) {
    const BugQueueItem item = enqueue("11111111");
    run(store().retired.remember(item, {.preservedReference = "refs/kept"},
                                 *parseInstant("2026-03-01T10:00:00Z")));
    run(store().items.remove(item.id));
    const BugState state = run(remote.bug("11111111"));
    EXPECT_FALSE(state.queued);
    EXPECT_EQ(state.retired.value().preservedReference, "refs/kept");
}

TEST_F(RemoteServiceTest, ABodyThatIsNotAsAgreedIsAProblem) {
    enqueue("11111111");
    for (const char* body : {"{", "[]", R"({"confirmed":"yes"})", R"({"before":7})"}) {
        EXPECT_EQ(ask("POST", "/v1/queue/11111111/cancel", body).status, 400U) << body;
    }
    EXPECT_EQ(ask("PUT", "/v1/settings/sessions.max", "{}").status, 400U);
    EXPECT_EQ(ask("POST", "/v1/queue/11111111/explode").status, 404U);
    EXPECT_EQ(ask("DELETE", "/v1/queue").status, 405U);
}

TEST_F(RemoteServiceTest, APageBeyondTheListIsEmptyAndOneOfNothingHasOne) {
    enqueue("11111111");
    const std::string whole = ask("GET", "/v1/queue").body;
    EXPECT_THAT(whole, HasSubstr(R"("offset":0,"total":1,"next_offset":null)"));
    EXPECT_EQ(ask("GET", "/v1/queue?limit=0").body, whole);
    EXPECT_EQ(ask("GET", "/v1/queue?limit=1001").body, whole);
    EXPECT_THAT(ask("GET", "/v1/queue?offset=5").body, HasSubstr(R"({"items":[],"offset":1,"total":1)"));
}

TEST_F(RemoteServiceTest, AQueryThatIsNoNumberIsAProblemThatNamesIt) {
    const struct {
        const char* target;
        const char* name;
    } rows[] = {
        {"/v1/queue?offset=-1", "offset"},
        {"/v1/queue?limit=99999999999999999999", "limit"},
        {"/v1/queue?limit=", "limit"},
        {"/v1/queue?limit", "limit"},
        {"/v1/queue?limit=1&limit=0x10", "limit"},
        {"/v1/mappings?offset=+1", "offset"},
        {"/v1/sessions?offset=1.0", "offset"},
        {"/v1/review?offset=%201", "offset"},
        {"/v1/bugs?newest=many", "newest"},
    };
    for (const auto& row : rows) {
        const ControlResponse response = ask("GET", row.target);
        EXPECT_EQ(response.status, 400U) << row.target;
        EXPECT_THAT(response.body,
                    HasSubstr(std::string("\\\"") + row.name + "\\\" of the query is no whole number"));
        EXPECT_THAT(response.body, HasSubstr(R"("code":"invalid")"));
    }
}

TEST_F(RemoteServiceTest, WhatCannotBeReadOfTheQueueComesToo) {
    enqueue("11111111");
    enqueue("22222222");
    run(store().database->execute("UPDATE queue_items SET status = 'Running' WHERE bug_id = '22222222'"));
    const QueueList list = run(remote.queue());
    EXPECT_EQ(list.entries.size(), 1U);
    EXPECT_EQ(list.unreadable, run(service->queue()).unreadable);
    ASSERT_EQ(list.unreadable.size(), 1U);
    EXPECT_EQ(list.unreadable.front().bugID, "22222222");
    EXPECT_THAT(list.unreadable.front().sentence,
                HasSubstr("cannot be read (Missing SQLite column status.)"));
}

TEST_F(RemoteServiceTest, AnOwnerThatSpeaksOtherwiseIsSaidToBeOfAnotherVersion) {
    router.emplace();
    router->add("GET", "/v1/queue", Audience::people,
                [](const ControlRequest&) -> Task<ControlResponse> { co_return ControlResponse{}; });
    EXPECT_THAT(errorOf(remote.queue()).what(), HasSubstr("it is of another version"));
    EXPECT_THAT(errorOf(remote.health()).what(), HasSubstr("it is of another version"));
}

/// Whoever owns the home.
class HomeServiceTest : public RemoteServiceTest {
  protected:
    std::unique_ptr<DispatchService> either = serviceForHome(home);
};

TEST_F(HomeServiceTest, AsksTheOwnerThatRuns) {
    serve({.health = [] { return HealthReport{.alerts = {"The owner's own."}}; }});
    EXPECT_THAT(run(either->health()).alerts, testing::ElementsAre("The owner's own."));
}

TEST_F(HomeServiceTest, WorksByItselfWhereNoneDoes) {
    stop();
    enqueue("11111111");
    EXPECT_EQ(run(either->queue()).entries.size(), 1U);
    run(either->change({.action = QueueAction::cancel, .bugID = "11111111"}));
    EXPECT_EQ(run(either->queueItem("11111111")).item.status, QueueItemStatus::cancelled);
}

TEST_F(HomeServiceTest, WaitsForAnOwnerThatIsAboutToListen) {
    stop();
    enqueue("11111111");
    std::optional<HomeLock> lock(home);
    boost::asio::steady_timer listens(io, std::chrono::milliseconds(200));
    listens.async_wait([&](boost::system::error_code) {
        server.emplace(io.get_executor(), home, *router, clock);
        lock.reset();  // the service that is offered takes it itself
    });
    run(either->change({.action = QueueAction::cancel, .bugID = "11111111"}));
    EXPECT_EQ(run(either->queueItem("11111111")).item.status, QueueItemStatus::cancelled);
}

TEST_F(HomeServiceTest, AHomeThatStaysAnothersIsBusy) {
    stop();
    enqueue("11111111");
    const HomeLock lock(home);
    EXPECT_EQ(codeOf(either->change({.action = QueueAction::cancel, .bugID = "11111111"})),
              ServiceErrorCode::busy);
}

}  // namespace
}  // namespace quernlight::host
