#include "host/terminal/attached_client.hpp"

#include <deque>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/agent_screen_fixture.hpp"

namespace quernlight::host {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

/// The owner's end of a channel, whose other end is the test.
class TestChannel final : public ControlChannel {
  public:
    Task<std::optional<ControlFrame>> receive() override {
        while (coming.empty() && !isClosed) {
            co_await news.wait();
        }
        if (coming.empty()) {
            co_return std::nullopt;
        }
        ControlFrame frame = std::move(coming.front());
        coming.pop_front();
        co_return frame;
    }
    Task<bool> send(ControlFrame frame) override {
        while (isStuck && !isClosed) {
            co_await room.wait();
        }
        sent.push_back(*messageIn(frame));
        co_return !isClosed;
    }
    Task<void> close(Ending) override {
        leave();
        co_return;
    }

    void bring(const ClientMessage& message) { bringFrame(frameOf(message)); }
    void bringFrame(ControlFrame frame) {
        coming.push_back(std::move(frame));
        news.notify();
    }
    void leave() {
        isClosed = true;
        news.notify();
        room.notify();
    }
    void goOn() {
        isStuck = false;
        room.notify();
    }

    template <class Message>
    std::vector<Message> all() const {
        std::vector<Message> found;
        for (const TerminalMessage& message : sent) {
            if (const auto* one = std::get_if<Message>(&message)) {
                found.push_back(*one);
            }
        }
        return found;
    }
    /// Of binary messages, their numbers not counted.
    std::size_t bytes() const {
        std::size_t count = 0;
        for (const TerminalBytes& one : all<TerminalBytes>()) {
            count += one.bytes.size();
        }
        return count;
    }
    void acknowledgeAll() { bring(Acknowledgement{.bytes = bytes()}); }

    std::vector<TerminalMessage> sent;
    std::deque<ControlFrame> coming;
    bool isStuck = false, isClosed = false;
    AsyncSignal news, room;
};

class AttachedClientTest : public test::AgentScreenFixture {
  protected:
    ~AttachedClientTest() override {
        for (TestChannel* channel : {&one, &other}) {
            channel->leave();
        }
        settle();
    }

    void attach(TestChannel& channel) {
        tasks.add(
            "attached",
            run(channel, {.bug = "3f2a9c1d", .attempt = 2, .terminal = launch.terminal(), .endSentence = [] {
                              return said("It has ended.");
                          }}));
        settle();
    }
    void writes(std::string bytes) {
        agent.write(std::move(bytes));
        settle();
    }
    /// What a terminal shows that got it all.
    static std::vector<std::string> shownTo(const TestChannel& channel) {
        ScreenModel terminal(120, 40);
        for (const TerminalBytes& output : channel.all<TerminalBytes>()) {
            terminal.write(output.bytes);
        }
        return terminal.picture().lines;
    }

    TestChannel one, other;

  private:
    Task<void> run(TestChannel& channel, AttachedClient::Session session) {
        AttachedClient client(std::move(session), channel, time);
        co_await client.run();
    }
    static Task<std::string> said(std::string sentence) { co_return sentence; }
    using AgentScreenFixture::run;
};

TEST_F(AttachedClientTest, APictureComesFirstAndThenTheOutputBehindIt) {
    attach(one);
    ASSERT_EQ(one.sent.size(), 2U);
    const auto picture = std::get<PictureBegins>(one.sent[0]);
    EXPECT_EQ(picture.bug, "3f2a9c1d");
    EXPECT_EQ(picture.attempt, 2);
    EXPECT_EQ(picture.title, "shop");
    EXPECT_EQ(picture.size, (TerminalSize{.columns = 120, .rows = 40}));
    EXPECT_EQ(picture.byte, launch.screen().fedBytes());
    const std::uint64_t next = picture.byte;
    writes("\x1b[5;5Hmore");
    EXPECT_EQ(std::get<TerminalBytes>(one.sent.at(2)),
              (TerminalBytes{.number = next, .bytes = "\x1b[5;5Hmore"}));
    EXPECT_EQ(shownTo(one), launch.screen().picture()->lines);
}

TEST_F(AttachedClientTest, WhoDoesNotAcknowledgeIsPausedAndThenGetsAFreshPicture) {
    attach(one);
    for (int count = 0; count < 300; ++count) {
        writes(std::string(5000, 'x') + "\r\n");
    }
    EXPECT_LT(one.bytes(), 120'000U);
    one.acknowledgeAll();
    settle();
    EXPECT_EQ(one.all<PictureBegins>().size(), 2U);
    EXPECT_EQ(one.all<PictureBegins>().back().byte, launch.screen().fedBytes());
}

TEST_F(AttachedClientTest, WhoIsStuckHoldsUpNobody) {
    attach(one);
    one.isStuck = true;
    attach(other);
    for (int count = 0; count < 300; ++count) {
        writes("line " + std::to_string(count) + std::string(5000, '.') + "\r\n");
        other.acknowledgeAll();
    }
    settle();
    EXPECT_EQ(shownTo(other), launch.screen().picture()->lines);
    EXPECT_LE(one.bytes(), 120'000U);
    one.goOn();
    settle();
    one.acknowledgeAll();
    settle();
    EXPECT_EQ(shownTo(one), launch.screen().picture()->lines);
}

TEST_F(AttachedClientTest, KeysAreTypedAndCountAsAPersons) {
    attach(one);
    EXPECT_FALSE(launch.terminal()->isPersonTyping());
    one.bring(Keys{.bytes = "draft"});
    settle();
    EXPECT_THAT(launch.screen().picture()->lines.at(0), HasSubstr("draft"));
    EXPECT_TRUE(launch.terminal()->isPersonTyping());
    advance(AgentTerminal::untilAPersonRests);
    EXPECT_FALSE(launch.terminal()->isPersonTyping());
}

TEST_F(AttachedClientTest, OneSetsTheSizeAndTheOthersAreTold) {
    attach(one);
    attach(other);
    one.bring(ClientSize{.size = {.columns = 60, .rows = 30}});
    settle();
    EXPECT_THAT(agent.sizes, ElementsAre(Pair(80, 30)));
    EXPECT_EQ(launch.screen().picture()->columns, 80);
    EXPECT_EQ(one.all<SizeChanged>().back(),
              (SizeChanged{.size = {.columns = 80, .rows = 30}, .setsSize = true}));
    EXPECT_EQ(other.all<SizeChanged>().back(),
              (SizeChanged{.size = {.columns = 80, .rows = 30}, .setsSize = false}));
}

TEST_F(AttachedClientTest, TheEndIsToldBehindTheLastWords) {
    attach(one);
    agent.write("last words");
    agent.exit(0);
    settle();
    EXPECT_EQ(one.all<TerminalBytes>().back().bytes, "last words");
    EXPECT_EQ(one.all<SessionEnded>().back().sentence, "It has ended.");
    EXPECT_TRUE(one.isClosed);
}

TEST_F(AttachedClientTest, WhoSendsNonsenseIsLeft) {
    attach(one);
    one.bringFrame({.bytes = "nonsense"});
    settle();
    EXPECT_TRUE(one.isClosed);
}

}  // namespace
}  // namespace quernlight::host
