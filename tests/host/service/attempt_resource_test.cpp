#include "host/service/attempt_resource.hpp"

#include <fstream>

#include <sys/stat.h>
#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/agent/agent_terminal.hpp"
#include "host/agent/ready_prompts.hpp"
#include "host/control/control_client.hpp"
#include "host/control/control_server.hpp"
#include "tests/host/fake_codex_runner.hpp"
#include "tests/host/service/service_fixture.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;
namespace fs = std::filesystem;
using quernlight::test::writeFile;
using testing::Contains;
using testing::Pair;

/// Bug 11111111 with two attempts, of which the second has transcripts in the home.
class AttemptResourceTest : public test::ServiceFixture {
  protected:
    AttemptResourceTest() {
        resource.offerOn(router);
        const BugQueueItem item = enqueue("11111111");
        addAttempt(item, 1, SessionAttemptState::failed);
        attempt = SessionAttemptRecord{.id = randomUuid(),
                                       .queueItemID = item.id,
                                       .attemptNumber = 2,
                                       .bugID = item.bugID,
                                       .transcriptANSIPath = folder / "transcript.ansi",
                                       .transcriptTextPath = folder / "transcript.txt"};
        run(store().attempts.insert(attempt));
        writeFile(folder / "transcript.ansi", "\x1b[1mHello\x1b[m\n");
        writeFile(folder / "transcript.txt", "Hello\nWorld\n");
        writeFile(folder / "timing.txt", "0.010 5\n");
    }
    ControlResponse get(const std::string& path) {
        ControlRequest request{.target = "/v1/queue/" + path, .caller = {.isPerson = true}};
        return run(router.respond(std::move(request)));
    }
    std::string textOf(const std::string& query) { return get("1111/attempts/2/transcript" + query).body; }

    const fs::path folder = home / "sessions" / "A" / "attempts" / "2";
    SessionAttemptRecord attempt;
    BackgroundExecutor background;
    LiveScreens screens;
    SystemClock clock;
    AttemptResource resource{
        {.service = *service, .background = background, .screens = screens, .clock = clock, .home = home}};
    ControlRouter router;
};

TEST_F(AttemptResourceTest, TheAttemptsAtABugAreListedInPages) {
    const auto page = json::parse(get("11111111/attempts?offset=1").body);
    EXPECT_EQ(page.at("total").as_int64(), 2);
    EXPECT_EQ(page.at("items").as_array().size(), 1U);
    EXPECT_EQ(page.at("items").at(0).at("number").as_int64(), 2);
    EXPECT_EQ(get("99999999/attempts").status, 404U);
}

TEST_F(AttemptResourceTest, ATranscriptComesInEachOfItsForms) {
    EXPECT_EQ(textOf(""), "Hello\nWorld\n");
    EXPECT_EQ(textOf("?format=plain"), "Hello\nWorld\n");
    EXPECT_EQ(textOf("?format=ansi"), "\x1b[1mHello\x1b[m\n");
    EXPECT_EQ(textOf("?format=timing"), "0.010 5\n");
    EXPECT_EQ(get("1111/attempts/2/transcript?format=html").status, 422U);
    EXPECT_THAT(get("1111/attempts/2/transcript").fields,
                testing::AllOf(Contains(Pair("Quernlight-Size", "12")),
                               Contains(Pair("X-Content-Type-Options", "nosniff"))));
}

TEST_F(AttemptResourceTest, APartOfItIsAskedForByItsBytes) {
    const struct {
        const char* query;
        const char* bytes;
    } rows[] = {
        {"?limit=5", "Hello"},      {"?after=6", "World\n"},
        {"?after=6&limit=2", "Wo"}, {"?after=12", ""},
        {"?after=13", ""},          {"?after=18446744073709551615", ""},
        {"?limit=0", ""},           {"?limit=999", "Hello\nWorld\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(textOf(row.query), row.bytes) << row.query;
    }
}

TEST_F(AttemptResourceTest, NoMoreThanAPartComesAtOnce) {
    writeFile(folder / "transcript.txt", std::string(std::size_t{3} << 20U, 'x'));
    EXPECT_EQ(textOf("").size(), AttemptResource::usualBytes);
    EXPECT_EQ(textOf("?limit=999999999").size(), AttemptResource::mostBytes);
}

TEST_F(AttemptResourceTest, WhatIsNotThereIsNotFound) {
    EXPECT_EQ(get("1111/attempts/3/transcript").status, 404U);
    EXPECT_EQ(get("1111/attempts/x/transcript").status, 404U);
    EXPECT_EQ(get("2222/attempts/1/transcript").status, 404U);
    fs::remove(folder / "timing.txt");
    EXPECT_EQ(get("1111/attempts/2/transcript?format=timing").status, 404U);
}

TEST_F(AttemptResourceTest, NothingOutsideOfTheSessionsIsShown) {
    // The first attempt's transcripts are beside the home.
    writeFile(directory / "transcript.txt", "secret");
    EXPECT_EQ(get("1111/attempts/1/transcript").status, 404U);
}

/// An agent works on the second attempt, and an owner answers.
class FollowedAttemptTest : public AttemptResourceTest {
  protected:
    ~FollowedAttemptTest() override { run(server.end()); }

    std::unique_ptr<ControlChannel> follow(const std::string& query = "") {
        return run(openChannel(home, "/v1/queue/1111/attempts/2/transcript" + query));
    }
    void writes(const std::string& text) {
        std::ofstream(folder / "transcript.txt", std::ios::app) << text;
        terminal->write(text);
    }
    /// What comes next: bytes, a text, or nothing more.
    std::string next(ControlChannel& channel) {
        const auto frame = run(channel.receive());
        return frame ? frame->bytes : "closed";
    }

    ReadyPrompts prompts{io.get_executor()};
    BackgroundExecutor drawing;
    test::FakeCodexRunner agent{prompts, clock};
    const TerminalSize size{.columns = 80, .rows = 24};
    const std::shared_ptr<AgentTerminal> terminal = std::make_shared<AgentTerminal>(
        agent, clock, randomUuid(), std::make_shared<SessionScreen>(drawing, size, SessionScreen::Observer()),
        size);
    const LiveScreens::Entry shown =
        screens.enter("11111111", [this] { return LiveAgent{.attemptNumber = 2, .terminal = terminal}; });
    ControlServer server{io.get_executor(), home, router, clock};
};

TEST_F(FollowedAttemptTest, ATranscriptIsToldAsItGrowsUntilTheAgentHasEnded) {
    const auto channel = follow();
    EXPECT_EQ(next(*channel), "Hello\nWorld\n");
    writes("One\n");
    EXPECT_EQ(next(*channel), "One\n");
    writes("Two\n");
    terminal->end(0);
    EXPECT_EQ(next(*channel), "Two\n");
    EXPECT_EQ(next(*channel), transcriptEnd);
    EXPECT_EQ(next(*channel), "closed");
}

TEST_F(FollowedAttemptTest, WhoComesBackIsToldWhatWasMissed) {
    writes("One\n");
    EXPECT_EQ(next(*follow("?after=6")), "World\nOne\n");
}

TEST_F(FollowedAttemptTest, WhatHasEndedComesWholeAndEnds) {
    terminal->end(0);
    const auto channel = follow("?format=ansi");
    EXPECT_EQ(next(*channel), "\x1b[1mHello\x1b[m\n");
    EXPECT_EQ(next(*channel), transcriptEnd);
    EXPECT_EQ(next(*channel), "closed");
}

TEST_F(FollowedAttemptTest, WhatIsNotThereAndNeverWillBeIsNotFound) {
    terminal->end(0);
    fs::remove(folder / "timing.txt");
    EXPECT_THROW(follow("?format=timing"), UserError);
    EXPECT_THROW(run(openChannel(home, "/v1/queue/1111/attempts/3/transcript")), UserError);
}

class PartBeneathTest : public testing::Test {
  protected:
    PartBeneathTest() {
        writeFile(root / "sessions" / "a" / "file", "inside");
        writeFile(root / "secret", "outside");
        fs::create_symlink(root / "secret", root / "sessions" / "link");
        fs::create_symlink(root.path(), root / "sessions" / "up");
        mkfifo((root / "sessions" / "pipe").c_str(), 0600);
    }
    std::string read(const fs::path& file) {
        try {
            return partBeneath(root / "sessions", file, 0, 100).bytes;
        } catch (const ServiceError& error) {
            return std::string(nameOf(error.code()));
        }
    }

    quernlight::test::TemporaryDirectory root;
};

TEST_F(PartBeneathTest, OnlyAFileBelowTheDirectoryIsRead) {
    const fs::path sessions = root / "sessions";
    EXPECT_EQ(read(sessions / "a" / "file"), "inside");
    EXPECT_EQ(read(sessions / "a" / ".." / "a" / "file"), "inside");
    for (const fs::path& file :
         {root / "secret", sessions / ".." / "secret", sessions / "link", sessions / "up" / "secret",
          sessions / "up" / "sessions" / "a" / "file", sessions / "pipe", sessions / "a", sessions,
          sessions / "none", fs::path("a/file"), fs::path(), fs::path("/etc/passwd")}) {
        EXPECT_EQ(read(file), "not_found") << file;
    }
}

}  // namespace
}  // namespace quernlight::host
