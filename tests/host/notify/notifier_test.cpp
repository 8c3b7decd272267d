#include "host/notify/notifier.hpp"

#include <filesystem>

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/events/event_kind.hpp"
#include "quernlight/platform/child_task.hpp"
#include "tests/host/blocking_script.hpp"
#include "tests/host/process_table.hpp"
#include "tests/host/published_events.hpp"
#include "tests/host/stepped_clock.hpp"
#include "tests/support/recording_server.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using quernlight::test::BlockingScript;
using quernlight::test::RecordingServer;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// Real commands and a real server, told of bugs that fail.
class NotifierTest : public testing::Test {
  protected:
    void notifyBy(const std::string& script) {
        quernlight::test::writeFile(directory / "notify", "#!/bin/sh\n" + script + "\n");
        std::filesystem::permissions(directory / "notify", std::filesystem::perms::owner_all);
        settings.notifyCommand = {(directory / "notify").string(), "two words", "$(touch x)"};
    }
    void fail(const std::string& bugID) {
        ItemChanged changed{.bugID = bugID};
        changed.event.kind = storedText(EventKind::failed);
        changed.event.message = "It broke.";
        events.publish(changed);
    }
    void end() { quernlight::test::runTask(io, notifier.end(stop)); }
    Task<void> endedThen(bool& hasEnded) {
        co_await notifier.end(stop);
        hasEnded = true;
    }
    template <class Condition>
    bool until(Condition holds) {
        return quernlight::test::eventually([&] {
            io.restart();
            io.poll();
            return holds();
        });
    }
    std::string file(const char* name) { return quernlight::test::readFile(directory / name); }

    quernlight::test::TemporaryDirectory directory;
    boost::asio::io_context io;
    quernlight::host::test::SteppedClock clock{io};
    StopRequest stop;
    Settings settings;
    EventPublisher events;
    quernlight::test::PublishedEvents published{events};
    Notifier notifier{io.get_executor(),
                      {.events = events,
                       .settings = settings,
                       .clock = clock,
                       .home = directory.path(),
                       .environment = {{"PATH", "/usr/bin:/bin"}, {"LANG", "C"}}},
                      {{.bugID = "3f2a9c1d", .appName = "Shop", .title = "Crash"}}};
};

TEST_F(NotifierTest, WithoutSettingsNobodyIsTold) {
    fail("3f2a9c1d");
    EXPECT_EQ(io.poll(), 0U);
    end();
}

TEST_F(NotifierTest, TheCommandReadsOneLineForEachNotification) {
    notifyBy("cat >> \"$0.told\"");
    fail("3f2a9c1d");
    ASSERT_TRUE(until([&] { return std::filesystem::exists(directory / "notify.told"); }));
    fail("77777777");
    end();
    const std::string told = file("notify.told");
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 2);
    EXPECT_THAT(told, AllOf(HasSubstr(R"("bug":"3f2a9c1d","app":"Shop","title":"Crash")"),
                            HasSubstr(R"("bug":"77777777")")));
    EXPECT_THAT(published.notices, IsEmpty());
}

TEST_F(NotifierTest, TheCommandGetsItsWordsAsTheyAreAndNothingElseOfTheProgram) {
    notifyBy("cd \"${0%/*}\"; printf '%s.' \"$@\" > words; env > variables; ls /dev/fd > fds");
    fail("3f2a9c1d");
    end();
    EXPECT_EQ(file("words"), "two words.$(touch x).");
    EXPECT_THAT(file("variables"), AllOf(HasSubstr("PATH=/usr/bin:/bin\n"), HasSubstr("LANG=C\n")));
    EXPECT_THAT(file("variables"), Not(HasSubstr("HOME")));
    EXPECT_EQ(file("fds"), "0\n1\n2\n3\n");  // the last is the listing's own
    EXPECT_FALSE(std::filesystem::exists(directory / "x"));
}

TEST_F(NotifierTest, ACommandThatReadsNothingAndPrintsMuchIsNoTrouble) {
    notifyBy("head -c 1000000 /dev/zero");
    fail("3f2a9c1d");
    end();
    EXPECT_THAT(published.notices, IsEmpty());
}

TEST_F(NotifierTest, ACommandThatFailsOrIsMissingIsToldOnce) {
    settings.notifyCommand = {"no-such-notifier"};
    fail("3f2a9c1d");
    ASSERT_TRUE(until([&] { return published.notices.size() == 1; }));
    EXPECT_THAT(published.notices,
                ElementsAre(HasSubstr("no-such-notifier ended with status 127; is it on PATH?")));
    notifyBy("exit 3");
    fail("3f2a9c1d");
    end();
    EXPECT_EQ(published.notices.size(), 1U);
}

TEST_F(NotifierTest, ACommandThatHangsIsEndedInTime) {
    const BlockingScript script(directory / "notify");
    settings.notifyCommand = {script.path()};
    fail("3f2a9c1d");
    ASSERT_TRUE(until([&] { return script.hasBegun(); }));
    clock.advance(NotificationChannel::timeLimit);
    ASSERT_TRUE(until([&] { return !published.notices.empty(); }));
    EXPECT_THAT(published.notices, ElementsAre(HasSubstr("It did not end within 10 s.")));
    EXPECT_FALSE(quernlight::test::isAlive(script.pid()));
}

TEST_F(NotifierTest, TheEndWaitsTwoSecondsForACommandThatHangs) {
    const BlockingScript script(directory / "notify");
    settings.notifyCommand = {script.path()};
    fail("3f2a9c1d");
    ASSERT_TRUE(until([&] { return script.hasBegun(); }));
    bool hasEnded = false;
    const ChildTask ending(io.get_executor(), "ending", endedThen(hasEnded));
    clock.advance(std::chrono::milliseconds(1999));
    EXPECT_TRUE(quernlight::test::isAlive(script.pid()));
    clock.advance(std::chrono::milliseconds(1));
    ASSERT_TRUE(until([&] { return hasEnded; }));
    EXPECT_FALSE(quernlight::test::isAlive(script.pid()));
}

TEST_F(NotifierTest, AtAKillTheEndWaitsForNothing) {
    const BlockingScript script(directory / "notify");
    settings.notifyCommand = {script.path()};
    fail("3f2a9c1d");
    ASSERT_TRUE(until([&] { return script.hasBegun(); }));
    stop.raise(StopLevel::kill);
    end();
    EXPECT_FALSE(quernlight::test::isAlive(script.pid()));
}

TEST_F(NotifierTest, TheWebhookIsPostedTheSame) {
    RecordingServer server;
    server.answerTo("POST /bugs?key=1", {.status = 204});
    settings.notifyWebhook = server.address() + "/bugs?key=1";
    fail("3f2a9c1d");
    end();
    ASSERT_EQ(server.lines(), std::vector<std::string>{"POST /bugs?key=1"});
    const auto request = server.requests().front();
    EXPECT_EQ(request.header("content-type"), "application/json");
    EXPECT_EQ(request.header("authorization"), std::nullopt);
    EXPECT_EQ(boost::json::parse(request.body).at("event"), "failed");
    EXPECT_THAT(published.notices, IsEmpty());
}

TEST_F(NotifierTest, AWebhookThatIsDownIsToldOnceAndWithoutItsAddress) {
    RecordingServer server;
    server.answer({.status = 500});
    server.answer({.status = 200});
    server.answer({.fault = quernlight::test::ScriptedAnswer::Fault::noAnswer});
    settings.notifyWebhook = server.address() + "/secret";
    for (const std::size_t count : {1U, 2U, 3U}) {
        fail("3f2a9c1d");
        ASSERT_TRUE(until([&] { return server.requests().size() == count && clock.sleepers() == 0; }));
    }
    EXPECT_THAT(published.notices,
                ElementsAre(HasSubstr("The server answered with status 500."), Not(HasSubstr("secret"))));
    EXPECT_THAT(published.notices.front(), Not(HasSubstr("secret")));
}

TEST_F(NotifierTest, AWebhookThatNeverAnswersIsGivenUpInTime) {
    RecordingServer server;
    server.answer({.fault = quernlight::test::ScriptedAnswer::Fault::silence});
    settings.notifyWebhook = server.address();
    fail("3f2a9c1d");
    ASSERT_TRUE(until([&] { return server.requests().size() == 1; }));
    clock.advance(NotificationChannel::timeLimit);
    ASSERT_TRUE(until([&] { return !published.notices.empty(); }));
    EXPECT_THAT(published.notices, ElementsAre(HasSubstr("(setting notify.webhook): It did not end within")));
}

}  // namespace
}  // namespace quernlight::host
