#include "host/agent/runner_event_relay.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/asio/post.hpp>

#include "host/agent/ready_prompts.hpp"
#include "quernlight/platform/child_task.hpp"
#include "tests/host/fake_codex_runner.hpp"
#include "tests/host/stepped_clock.hpp"

namespace quernlight::host {
namespace {

/// An agent that writes faster than the loop gets to it.
class RunnerEventRelayTest : public testing::Test, private AgentTerminal::Listener {
  protected:
    static constexpr std::size_t chunk = 4096;
    static constexpr std::size_t chunks = 1000;

    void flood() {
        for (std::size_t count = 0; count < chunks; ++count) {
            events.continuation().deliver(RunnerEvent::Output{.bytes = std::string(chunk, 'x')});
        }
    }
    void relay() {
        spawnLogged(io.get_executor(), "relaying",
                    relayRunnerEvents(std::move(events), mailbox.continuation(), terminal));
    }

    boost::asio::io_context io;
    test::SteppedClock clock{io};
    ReadyPrompts prompts{io.get_executor()};
    test::FakeCodexRunner runner{prompts, clock};
    BackgroundExecutor drawing;
    std::shared_ptr<SessionScreen> screen =
        std::make_shared<SessionScreen>(drawing, TerminalSize{}, SessionScreen::Observer{});
    std::shared_ptr<AgentTerminal> terminal =
        std::make_shared<AgentTerminal>(runner, clock, randomUuid(), screen, TerminalSize{});
    SessionMailbox mailbox;
    EventStream<RunnerEvent> events;
    std::size_t pieces = 0;
    const AgentTerminal::Subscription listening = terminal->listen(*this);

  private:
    void wrote(std::uint64_t, std::string_view) override { ++pieces; }
    void changed() override {}
};

TEST_F(RunnerEventRelayTest, WhatHasComeMeanwhileIsTakenTogetherAndWhole) {
    flood();
    const EventStream<RunnerEvent>::Continuation agent = events.continuation();
    agent.deliver(RunnerEvent::Exited{.exitCode = 3});
    agent.finish();
    relay();
    io.poll();
    EXPECT_EQ(terminal->bytes(), chunk * chunks);
    EXPECT_LE(pieces, 20U);
    EXPECT_EQ(terminal->exitCode(), 3);
}

/// A wish to stop, above all, waits for no flood to end.
TEST_F(RunnerEventRelayTest, OthersHaveTheirTurnWhileAFloodIsRelayed) {
    flood();
    relay();
    std::uint64_t atTheirTurn = 0;
    boost::asio::post(io, [&] { boost::asio::post(io, [&] { atTheirTurn = terminal->bytes(); }); });
    io.poll();
    EXPECT_GT(atTheirTurn, 0U);
    EXPECT_LT(atTheirTurn, chunk * chunks);
    EXPECT_EQ(terminal->bytes(), chunk * chunks);
}

}  // namespace
}  // namespace quernlight::host
