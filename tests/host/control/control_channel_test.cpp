#include <boost/asio.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/control/control_client.hpp"
#include "host/control/control_server.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using testing::HasSubstr;
using testing::Optional;
using testing::ThrowsMessage;

Task<void> echo(ControlChannel& channel) {
    while (auto frame = co_await channel.receive()) {
        co_await channel.send(std::move(*frame));
    }
}

Task<void> flood(ControlChannel& channel) {
    ControlFrame frame{.isText = false, .bytes = std::string(std::size_t{1} << 20U, 'x')};
    bool isOpen = true;
    while (isOpen) {
        isOpen = co_await channel.send(frame);
    }
}

Task<void> sayOnce(ControlChannel& channel) {
    ControlFrame frame{.bytes = "{}"};
    co_await channel.send(std::move(frame));
}

/// Listens to nothing, and does not end by itself.
Task<void> sleepOn(ControlChannel&) {
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor,
                                    boost::asio::steady_timer::time_point::max());
    co_await timer.async_wait(boost::asio::use_awaitable);
}

ControlRouter::Handler offering(std::function<Task<void>(ControlChannel&)> takeOver) {
    return [takeOver = std::move(takeOver)](ControlRequest) -> Task<ControlResponse> {
        return
            [](auto how) -> Task<ControlResponse> { co_return ControlResponse{.takeOver = how}; }(takeOver);
    };
}

Task<ControlResponse> none(ControlRequest) {
    co_return problem(404, "No agent works on bug 11111111.");
}

class ControlChannelTest : public testing::Test {
  protected:
    ControlChannelTest() {
        router.add("GET", "/v1/echo", Audience::people, offering(echo));
        router.add("GET", "/v1/flood", Audience::people, offering(flood));
        router.add("GET", "/v1/once", Audience::people, offering(sayOnce));
        router.add("GET", "/v1/asleep", Audience::people, offering(sleepOn));
        router.add("GET", "/v1/none", Audience::people, none);
    }
    ~ControlChannelTest() override { stop(); }

    void serve(ControlLimits limits = {}) {
        server = std::make_unique<ControlServer>(io.get_executor(), home.path(), router, clock, limits);
    }
    void stop() {
        if (server) {
            test::runTask(io, server->end());
            server.reset();
        }
    }
    std::unique_ptr<ControlChannel> open(const std::string& target) {
        return test::runTask(io, openChannel(home.path(), target));
    }
    std::optional<ControlFrame> answerTo(ControlChannel& channel, ControlFrame frame) {
        EXPECT_TRUE(test::runTask(io, channel.send(std::move(frame))));
        return test::runTask(io, channel.receive());
    }

    test::TemporaryDirectory home;
    boost::asio::io_context io;
    SystemClock clock;
    ControlRouter router;
    std::unique_ptr<ControlServer> server;
};

TEST_F(ControlChannelTest, MessagesOfBothKindsGoBothWays) {
    serve();
    const auto channel = open("/v1/echo");
    for (const ControlFrame& frame :
         {ControlFrame{.bytes = R"({"a":1})"},
          ControlFrame{.isText = false, .bytes = std::string("\0\xff", 2)},
          ControlFrame{.isText = false, .bytes = std::string(std::size_t{900} << 10U, 'x')}}) {
        EXPECT_THAT(answerTo(*channel, frame), Optional(frame));
    }
}

TEST_F(ControlChannelTest, WhatTheHandlerEndsIsClosed) {
    serve();
    const auto channel = open("/v1/once");
    EXPECT_THAT(test::runTask(io, channel->receive()), Optional(ControlFrame{.bytes = "{}"}));
    EXPECT_EQ(test::runTask(io, channel->receive()), std::nullopt);
    EXPECT_FALSE(test::runTask(io, channel->send({.bytes = "{}"})));
}

TEST_F(ControlChannelTest, ARefusalIsToldByItsSentence) {
    serve({.channels = 1});
    const auto only = open("/v1/echo");
    const struct {
        const char* target;
        const char* sentence;
    } rows[] = {
        {"/v1/none", "No agent works on bug 11111111."},
        {"/v1/nothing", "There is no such resource."},
        {"/v1/echo", "Too many are connected already"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT([&] { open(row.target); }, ThrowsMessage<UserError>(HasSubstr(row.sentence)));
    }
}

TEST_F(ControlChannelTest, ARequestWithoutAnUpgradeIsToldToAskForOne) {
    serve();
    const auto response = test::runTask(io, askOwner(home.path(), {.target = "/v1/echo"}));
    EXPECT_EQ(response.status, 426U);
}

TEST_F(ControlChannelTest, WhoDoesNotReadHoldsUpNobody) {
    serve({.connections = 2});
    const auto stuck = open("/v1/flood");
    const auto asleep = open("/v1/asleep");
    const auto channel = open("/v1/echo");
    EXPECT_THAT(answerTo(*channel, {.bytes = "1"}), Optional(ControlFrame{.bytes = "1"}));
    stop();
    EXPECT_EQ(test::runTask(io, channel->receive()), std::nullopt);
}

TEST_F(ControlChannelTest, WithoutAnOwnerThereIsNoChannel) {
    EXPECT_THROW(open("/v1/echo"), OwnerNotRunning);
}

}  // namespace
}  // namespace quernlight::host
