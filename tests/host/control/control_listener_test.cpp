#include "host/control/control_listener.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/control/control_client.hpp"
#include "host/control/control_server.hpp"
#include "tests/host/control/raw_request.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using test::head;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testing::ThrowsMessage;

const std::string token(64, 'a');

/// Who asks, as a handler sees it.
Task<ControlResponse> whoAsks(ControlRequest request) {
    const std::string who = request.caller.isPerson && !request.caller.session ? "a person" : "somebody";
    co_return ControlResponse{.body = who + ", secret \"" + request.secret + "\", " + request.body};
}

Task<void> sayOnce(ControlChannel& channel) {
    ControlFrame frame{.bytes = "{}"};
    co_await channel.send(std::move(frame));
}

Task<ControlResponse> channelOffered(ControlRequest) {
    co_return ControlResponse{.takeOver = sayOnce};
}

class ControlListenerTest : public testing::Test {
  protected:
    ControlListenerTest() {
        router.add("GET", "/v1/who", Audience::people, whoAsks);
        router.add("POST", "/v1/who", Audience::people, whoAsks);
        router.add("GET", "/v1/channel", Audience::people, channelOffered);
    }
    ~ControlListenerTest() override {
        if (server) {
            quernlight::test::runTask(io, server->end());
        }
    }

    void serve(ControlLimits limits = {}) {
        server = std::make_unique<ControlServer>(io.get_executor(), home.path(), router, clock, limits);
        server->listenOn(listener);
    }
    std::string answerTo(const std::string& bytes) {
        return quernlight::test::runTask(io, test::answerTo(listener.port(), bytes));
    }
    /// The status of what comes first in answer to these bytes on a connection, which stays open.
    static Task<int> statusOn(boost::asio::ip::tcp::socket& socket, std::string bytes) {
        co_await boost::asio::async_write(socket, boost::asio::buffer(bytes), boost::asio::use_awaitable);
        std::string answer;
        while (answer.find("\r\n\r\n") == std::string::npos) {
            std::array<char, 4096> part{};
            const auto buffer = boost::asio::buffer(part);
            const std::size_t size = co_await socket.async_read_some(buffer, boost::asio::use_awaitable);
            answer.append(part.data(), size);
        }
        co_return test::statusOf(answer);
    }
    /// A connection more that asks without the token, and is kept.
    Task<int> refusedFor(std::vector<boost::asio::ip::tcp::socket>& kept) {
        boost::asio::ip::tcp::socket& socket = kept.emplace_back(io);
        socket.connect({boost::asio::ip::address_v4::loopback(), listener.port()});
        std::string request = "GET /v1/who HTTP/1.1\r\nHost: " + host() + "\r\n\r\n";
        const int status = co_await statusOn(socket, std::move(request));
        co_return status == 429 ? 401 : status;  // both are refusals
    }
    int toldBeforeTheBody(const std::vector<std::string>& fields) {
        boost::asio::ip::tcp::socket socket(io);
        socket.connect({boost::asio::ip::address_v4::loopback(), listener.port()});
        return quernlight::test::runTask(io, statusOn(socket, head("POST /v1/who", host(), fields)));
    }
    std::string host() const { return "127.0.0.1:" + std::to_string(listener.port()); }

    quernlight::test::TemporaryDirectory home;
    boost::asio::io_context io;
    SystemClock clock;
    ControlRouter router;
    ControlListener listener{io.get_executor(), 0, token};
    std::unique_ptr<ControlServer> server;
    const std::string allowed = "Authorization: Bearer " + token;
};

TEST_F(ControlListenerTest, WhoBringsTheTokenIsAPersonAndTheTokenGoesNoFurther) {
    serve();
    const std::string answer = answerTo(head("POST /v1/who", host(), {allowed, "Content-Length: 2"}) + "{}");
    EXPECT_THAT(answer, AllOf(StartsWith("HTTP/1.1 200 "), HasSubstr("a person, secret \"\", {}"),
                              Not(HasSubstr("Access-Control")), Not(HasSubstr("Set-Cookie"))));
}

TEST_F(ControlListenerTest, OthersAreRefused) {
    serve();
    const std::string own = "Origin: http://" + host();
    const struct {
        const char* name;
        std::string request;
        int status;
    } rows[] = {
        {"no token", head("GET /v1/who", host()), 401},
        {"a wrong token", head("GET /v1/who", host(), {"Authorization: Bearer " + token + "b"}), 401},
        {"a foreign host", head("GET /v1/who", "evil.example", {allowed}), 403},
        {"a foreign page", head("GET /v1/who", host(), {allowed, "Origin: http://evil.example"}), 403},
        {"an own page", head("GET /v1/who", host(), {allowed, own}), 200},
        {"an own page without the token", head("GET /v1/who", host(), {own}), 401},
        {"a browser that asks before it sends",
         head("OPTIONS /v1/who", host(), {"Origin: http://evil.example"}), 403},
        {"a path that names a host", head("GET http://evil.example/v1/who", host(), {allowed}), 400},
        {"no resource", head("GET /v1/nothing", host(), {allowed}), 404},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(test::statusOf(answerTo(row.request)), row.status) << row.name;
    }
}

TEST_F(ControlListenerTest, AWebSocketTakesTheSame) {
    serve();
    const std::vector<std::string> upgrade{"Upgrade: websocket", "Sec-WebSocket-Version: 13",
                                           "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ=="};
    const auto asked = [&](std::vector<std::string> more) {
        more.insert(more.end(), upgrade.begin(), upgrade.end());
        std::string request = head("GET /v1/channel", host(), more);
        request.replace(request.find("Connection: close"), 17, "Connection: upgrade");
        return test::statusOf(answerTo(request));
    };
    EXPECT_EQ(asked({allowed}), 101);
    EXPECT_EQ(asked({}), 401);
    EXPECT_EQ(asked({allowed, "Origin: http://evil.example"}), 403);
}

TEST_F(ControlListenerTest, WhatIsNoRequestIsRefusedOrDropped) {
    serve({.largestBody = 1000});
    const struct {
        const char* name;
        std::string bytes;
        int status;
    } rows[] = {
        {"no HTTP", "hello\r\n\r\n", 400},
        {"TLS", std::string("\x16\x03\x01\x02\x00\x01\x00\r\n\r\n", 11), 400},
        {"a huge header", head("GET /v1/who", host(), {"X: " + std::string(100'000, 'x')}), 431},
        {"many headers", head("GET /v1/who", host(), std::vector<std::string>(1000, "X: xxxxxxxxxx")), 431},
        {"a huge target", head("GET /v1/who?" + std::string(100'000, 'x'), host(), {allowed}), 414},
        {"a huge body", head("POST /v1/who", host(), {allowed, "Content-Length: 1001"}), 413},
        {"a huge body of chunks",
         head("POST /v1/who", host(), {allowed, "Transfer-Encoding: chunked"}) + "3e9\r\n" +
             std::string(1001, 'x') + "\r\n0\r\n\r\n",
         413},
        {"two lengths", head("POST /v1/who", host(), {allowed, "Content-Length: 2", "Content-Length: 3"}),
         400},
        {"a bad length", head("POST /v1/who", host(), {allowed, "Content-Length: -1"}), 400},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(test::statusOf(answerTo(row.bytes)), row.status) << row.name;
    }
}

TEST_F(ControlListenerTest, ARequestThatIsCutOffConcernsNobodyElse) {
    serve();
    const std::string whole = head("POST /v1/who", host(), {allowed, "Content-Length: 2"}) + "{}";
    for (const std::size_t size : {std::size_t{1}, std::size_t{20}, whole.size() - 3, whole.size() - 1}) {
        boost::asio::ip::tcp::socket cut(io);
        cut.connect({boost::asio::ip::address_v4::loopback(), listener.port()});
        boost::asio::write(cut, boost::asio::buffer(whole, size));
        cut.close();
        EXPECT_EQ(test::statusOf(answerTo(whole)), 200) << size;
    }
}

TEST_F(ControlListenerTest, ARequestThatDoesNotEndIsGivenUp) {
    serve({.idleTimeout = std::chrono::seconds(1)});
    const std::string request = head("POST /v1/who", host(), {allowed, "Content-Length: 2"});
    EXPECT_EQ(answerTo(request), "");
    EXPECT_EQ(answerTo(request.substr(0, 30)), "");
    EXPECT_EQ(answerTo(""), "");
}

TEST_F(ControlListenerTest, WhoMayNotAskIsAnsweredBeforeItsBodyIsThere) {
    serve();
    EXPECT_EQ(test::statusOf(answerTo(head("POST /v1/who", host(), {"Content-Length: 1000000"}))), 401);
}

TEST_F(ControlListenerTest, WhoConnectsAndSaysNothingKeepsNobodyOut) {
    serve({.connections = 4, .connectionsOfOne = 3});
    std::vector<boost::asio::ip::tcp::socket> silent;
    for (int count = 0; count < 20; ++count) {
        silent.emplace_back(io).connect({boost::asio::ip::address_v4::loopback(), listener.port()});
    }
    EXPECT_EQ(test::statusOf(answerTo(head("GET /v1/who", host(), {allowed}))), 200);
    const auto response = quernlight::test::runTask(io, askOwner(home.path(), {.target = "/v1/who"}));
    EXPECT_EQ(response.status, 200U);
}

TEST_F(ControlListenerTest, WhoAsksBeforeItSendsABodyIsToldToGoOn) {
    serve({.largestBody = 1000});
    const std::string expects = "Expect: 100-Continue";
    const auto answer =
        answerTo(head("POST /v1/who", host(), {allowed, expects, "Content-Length: 2"}) + "{}");
    EXPECT_THAT(answer, testing::AnyOf(StartsWith("HTTP/1.1 200 "),  // the body came with the header
                                       StartsWith("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 ")));
    EXPECT_EQ(toldBeforeTheBody({allowed, expects, "Content-Length: 2"}), 100);
    EXPECT_EQ(toldBeforeTheBody({allowed, expects, "Content-Length: 1001"}), 413);
    EXPECT_EQ(toldBeforeTheBody({expects, "Content-Length: 2"}), 401);
}

/// Each waits, unread, for as long as it may.
TEST_F(ControlListenerTest, WhoWasRefusedKeepsNobodyOut) {
    serve({.connections = 20, .connectionsOfOne = 3, .strangers = 4});
    std::vector<boost::asio::ip::tcp::socket> refused;
    for (int count = 0; count < 30; ++count) {
        EXPECT_EQ(quernlight::test::runTask(io, refusedFor(refused)), 401) << count;
    }
    EXPECT_EQ(test::statusOf(answerTo(head("GET /v1/who", host(), {allowed}))), 200);
}

/// A client that keeps its connection is no stranger any more.
TEST_F(ControlListenerTest, StrangersCloseNobodysConnectionWhoBroughtTheToken) {
    serve({.strangers = 2});
    boost::asio::ip::tcp::socket known(io);
    known.connect({boost::asio::ip::address_v4::loopback(), listener.port()});
    const std::string request = "GET /v1/who HTTP/1.1\r\nHost: " + host() + "\r\n" + allowed + "\r\n\r\n";
    EXPECT_EQ(quernlight::test::runTask(io, statusOn(known, request)), 200);
    std::vector<boost::asio::ip::tcp::socket> refused;
    for (int count = 0; count < 10; ++count) {
        quernlight::test::runTask(io, refusedFor(refused));
    }
    EXPECT_EQ(quernlight::test::runTask(io, statusOn(known, request)), 200);
}

TEST_F(ControlListenerTest, APortThatAnotherHasIsNamed) {
    EXPECT_THAT([this] { ControlListener(io.get_executor(), listener.port(), token); },
                ThrowsMessage<UserError>(
                    AllOf(HasSubstr("Port " + std::to_string(listener.port())), HasSubstr("--listen"))));
}

}  // namespace
}  // namespace quernlight::host
