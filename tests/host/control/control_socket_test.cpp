#include <cstring>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <boost/asio.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/control/control_client.hpp"
#include "host/control/control_server.hpp"
#include "host/control/control_socket.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/peer_user.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

sockaddr_un addressOf(const std::filesystem::path& socket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socket.c_str(), sizeof address.sun_path - 1);
    return address;
}

Task<ControlResponse> echoed(ControlRequest request) {
    co_return ControlResponse{.body = request.parameters.at(0) + " " + request.secret + " " + request.body};
}

Task<ControlResponse> failing(ControlRequest) {
    throw UserError("The disk is full.");
    co_return ControlResponse{};
}

class ControlSocketTest : public testing::Test {
  protected:
    ControlSocketTest() {
        router.add("POST", "/v1/echo/*", Audience::anybody, echoed);
        router.add("POST", "/v1/failing", Audience::anybody, failing);
    }
    ~ControlSocketTest() override { stop(); }

    void serve(ControlLimits limits = {}) {
        server = std::make_unique<ControlServer>(io.get_executor(), home.path(), router, clock, limits);
    }
    void stop() {
        if (server) {
            test::runTask(io, server->end());
            server.reset();
        }
    }
    ControlResponse ask(const std::string& target, const std::string& body = "{}",
                        const std::string& method = "POST", const std::string& secret = "s3cret") {
        ControlRequest request{.method = method, .target = target, .secret = secret, .body = body};
        return test::runTask(io, askOwner(home.path(), std::move(request)));
    }
    std::filesystem::path socket() const { return controlSocketPath(home.path()); }

    FileDescriptor connected() const {
        FileDescriptor end(::socket(AF_UNIX, SOCK_STREAM, 0));
        const sockaddr_un address = addressOf(socket());
        EXPECT_EQ(connect(end.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        return end;
    }

    /// A socket that nobody listens on any more, as a killed owner leaves it.
    void leaveDeadSocket() {
        const FileDescriptor dead(::socket(AF_UNIX, SOCK_STREAM, 0));
        const sockaddr_un address = addressOf(socket());
        ASSERT_EQ(bind(dead.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }

    test::TemporaryDirectory home;
    boost::asio::io_context io;
    SystemClock clock;
    ControlRouter router;
    std::unique_ptr<ControlServer> server;
};

TEST_F(ControlSocketTest, ARequestIsAnsweredByWhoOffersItsPath) {
    serve();
    const ControlResponse response = ask("/v1/echo/a%2Fb", R"({"x":1})");
    EXPECT_EQ(response.status, 200U);
    EXPECT_EQ(response.body, R"(a/b s3cret {"x":1})");
}

TEST_F(ControlSocketTest, WhatCannotBeAnsweredIsAProblemWithASentence) {
    serve({.largestBody = 1000});
    const struct {
        const char* method;
        const char* target;
        std::string body;
        unsigned status;
        const char* sentence;
    } rows[] = {
        {"POST", "/v1/nothing", "{}", 404, "There is no such resource."},
        {"POST", "/v1/echo/", "{}", 404, "There is no such resource."},
        {"GET", "/v1/echo/x", "{}", 405, "This resource does not take GET."},
        {"POST", "/v1/failing", "{}", 500, "The disk is full."},
        {"POST", "/v1/echo/x", std::string(1001, ' '), 413, "The request is too large."},
    };
    for (const auto& row : rows) {
        const ControlResponse response = ask(row.target, row.body, row.method);
        EXPECT_EQ(response.status, row.status) << row.target;
        EXPECT_EQ(response.contentType, "application/problem+json");
        EXPECT_EQ(problemOf(response).value().detail, row.sentence);
    }
}

TEST_F(ControlSocketTest, TooManyRequestsAreToldSo) {
    serve({.requestsPerSecond = 0.001, .burst = 2});
    EXPECT_EQ(ask("/v1/echo/1").status, 200U);
    EXPECT_EQ(ask("/v1/echo/2").status, 200U);
    EXPECT_EQ(ask("/v1/echo/3").status, 429U);
}

TEST_F(ControlSocketTest, WhoAsksTooOftenTakesNothingFromTheOthers) {
    router.knowsSecretsBy([](const std::string& secret) { return secret != "nobody's"; });
    serve({.requestsPerSecond = 0.001, .burst = 1});
    for (const char* secret : {"one's", "the other's", ""}) {
        EXPECT_EQ(ask("/v1/echo/x", "{}", "POST", secret).status, 200U) << secret;
        EXPECT_EQ(ask("/v1/echo/x", "{}", "POST", secret).status, 429U) << secret;
    }
}

TEST_F(ControlSocketTest, MadeUpSecretsShareOneBucket) {
    router.knowsSecretsBy([](const std::string&) { return false; });
    serve({.requestsPerSecond = 0.001, .burst = 1});
    EXPECT_EQ(ask("/v1/echo/x", "{}", "POST", "1").status, 200U);
    EXPECT_EQ(ask("/v1/echo/x", "{}", "POST", "2").status, 429U);
}

TEST_F(ControlSocketTest, WhoHasManyConnectionsLosesHisOwnIdlest) {
    serve({.connections = 100, .connectionsOfOne = 3});
    const FileDescriptor idlest = connected();
    for (int count = 0; count < 3; ++count) {
        EXPECT_EQ(ask("/v1/echo/x").status, 200U);
    }
    const FileDescriptor second = connected();
    const FileDescriptor third = connected();
    EXPECT_EQ(ask("/v1/echo/x").status, 200U);
    char byte = 0;
    EXPECT_EQ(recv(idlest.get(), &byte, 1, MSG_DONTWAIT), 0);
}

TEST_F(ControlSocketTest, ConnectionsOnWhichNothingComesKeepNobodyOut) {
    serve({.connections = 3});
    std::vector<FileDescriptor> idle;
    for (int count = 0; count < 10; ++count) {
        idle.push_back(connected());
    }
    EXPECT_EQ(ask("/v1/echo/x").status, 200U);
}

TEST_F(ControlSocketTest, TheSocketIsForItsUserAloneAndGoesWithItsServer) {
    serve();
    struct stat found {};
    ASSERT_EQ(lstat(socket().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777U, 0600U);
    stop();
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(socket())));
}

TEST_F(ControlSocketTest, TheSocketOfADeadOwnerIsReplaced) {
    leaveDeadSocket();
    EXPECT_THROW(ask("/v1/echo/x"), OwnerNotRunning);
    serve();
    EXPECT_EQ(ask("/v1/echo/x").status, 200U);
}

TEST_F(ControlSocketTest, ASocketThatAnotherHasPutThereIsLeftAlone) {
    serve();
    std::filesystem::remove(socket());
    leaveDeadSocket();
    stop();
    EXPECT_TRUE(std::filesystem::is_socket(socket()));
}

TEST_F(ControlSocketTest, SomethingElseInItsPlaceIsNotRemoved) {
    test::writeFile(socket(), "mine");
    EXPECT_THAT([this] { serve(); }, ThrowsMessage<UserError>(HasSubstr("There is something else where")));
    EXPECT_EQ(test::readFile(socket()), "mine");
}

TEST_F(ControlSocketTest, AHomeWhosePathIsTooLongIsToldWithWhatToDo) {
    const auto deep = home / std::string(120, 'd');
    std::filesystem::create_directory(deep);
    EXPECT_THAT([&] { ControlSocket(io.get_executor(), deep); },
                ThrowsMessage<UserError>(AllOf(HasSubstr("path is too long"), HasSubstr("--home"))));
    EXPECT_THROW(test::runTask(io, askOwner(deep, {})), OwnerNotRunning);
}

TEST_F(ControlSocketTest, WithoutAnOwnerTheSentenceSaysHowToStartOne) {
    EXPECT_THAT([this] { ask("/v1/echo/x"); },
                ThrowsMessage<OwnerNotRunning>(
                    AllOf(HasSubstr("The dispatcher is not running"), HasSubstr("quernlight-dispatch run"))));
}

TEST(PeerUserTest, ThePeerOfASocketIsTheUserAsWhomItRuns) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const FileDescriptor one(ends[0]);
    const FileDescriptor other(ends[1]);
    EXPECT_EQ(peerUser(one.get()), geteuid());
    EXPECT_EQ(peerProcess(one.get()), getpid());
    const Pipe pipe = openPipe();
    EXPECT_EQ(peerUser(pipe.reading.get()), std::nullopt);
    EXPECT_EQ(peerProcess(pipe.reading.get()), std::nullopt);
}

TEST_F(ControlSocketTest, AnOwnerThatDoesNotAnswerIsNotWaitedForLongerThanWanted) {
    const ControlSocket suspended(io.get_executor(), home.path());
    const auto asking = [this] {
        test::runTask(io, askOwner(home.path(), {.target = "/v1"}, std::chrono::milliseconds(20)));
    };
    EXPECT_THAT(asking, ThrowsMessage<OwnerDidNotAnswer>(HasSubstr("does not answer: it may be suspended")));
}

}  // namespace
}  // namespace quernlight::host
