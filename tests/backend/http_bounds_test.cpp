#include <chrono>
#include <thread>

#include <sys/socket.h>

#include <gtest/gtest.h>

#include "quernlight/backend/http_session.hpp"
#include "tests/backend/raw_server.hpp"
#include "tests/support/recording_server.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using namespace test;
using Fault = ScriptedAnswer::Fault;
using Options = HttpSession::Options;
using Reason = TransportError::Reason;

/// What a session refuses or gives up.
class HttpBoundsTest : public testing::Test {
  protected:
    static HttpRequest get(const std::string& url) {
        HttpRequest request{.method = "GET", .url = Url::parse(url).value()};
        request.headers = {{"Authorization", "Bearer secret-token"}};
        return request;
    }

    static HttpRequest post(const std::string& url, std::string body) {
        HttpRequest request = get(url);
        request.method = "POST";
        request.body = std::move(body);
        return request;
    }

    Reason failure(HttpRequest request, Options options = {}) {
        HttpSession session(options);
        return failure(session, std::move(request));
    }

    /// Why the request failed; fails the test when it did not.
    Reason failure(HttpSession& session, HttpRequest request) {
        try {
            runTask(session.send(std::move(request)));
        } catch (const TransportError& error) {
            message = error.what();
            return error.reason();
        }
        ADD_FAILURE() << "the request was answered";
        return Reason::sessionClosed;
    }

    RecordingServer server;
    std::string message;  // of the last failure
};

TEST_F(HttpBoundsTest, ByDefaultAMinuteWithoutProgressIsTheTimeoutAndBodiesEndAt64MiB) {
    const Options options;
    EXPECT_EQ(options.timeout, 60s);
    EXPECT_EQ(options.totalTimeout, 120s);
    EXPECT_EQ(options.mostExtraTime, 600s);
    EXPECT_EQ(options.maximumRequestSize, 67'108'864U);
    EXPECT_EQ(options.maximumAnswerSize, 67'108'864U);
}

TEST_F(HttpBoundsTest, ARequestBodyBeyondTheBoundIsRefusedBeforeSending) {
    HttpSession small(Options{.maximumRequestSize = 10});
    server.answer({});
    EXPECT_EQ(runTask(small.send(post(server.address(), "0123456789"))).status, 200);
    EXPECT_EQ(failure(small, post(server.address(), "0123456789A")), Reason::requestTooLarge);
    EXPECT_EQ(message, "The request is larger than 10 bytes.");
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(HttpBoundsTest, TheDefaultBoundOfARequestBodyIsKept) {
    EXPECT_EQ(failure(post(server.address(), std::string(67'108'865, 'x'))), Reason::requestTooLarge);
    EXPECT_EQ(message, "The request is larger than 67108864 bytes.");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(HttpBoundsTest, TheBoundOfAnAnswerHoldsForWhatIsDecompressed) {
    const std::string thousand =
        "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xab\xa8\x18\x05\xa3\x60\x14\x0c\x77\x00\x00\xe6\xc9\x41\x3b\xe8\x03\x00\x00"s;
    const ScriptedAnswer compressed{.body = thousand, .headers = {{"Content-Encoding", "gzip"}}};
    server.answer(compressed);
    server.answer(compressed);
    HttpSession session(Options{.maximumAnswerSize = 1000});
    EXPECT_EQ(runTask(session.send(get(server.address()))).body, std::string(1000, 'x'));
    EXPECT_EQ(failure(get(server.address()), {.maximumAnswerSize = 999}), Reason::answerTooLarge);
    EXPECT_EQ(message, "The answer is larger than 999 bytes.");
}

TEST_F(HttpBoundsTest, AnAnswerThatTricklesEndsThoughThereIsProgress) {
    RawServer trickling([](int connection) {
        writeAll(connection, "HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n");
        while (send(connection, "x", 1, MSG_NOSIGNAL) == 1) {
            std::this_thread::sleep_for(10ms);
        }
    });
    EXPECT_EQ(failure(get(trickling.address()), {.timeout = 60s, .totalTimeout = 300ms}), Reason::timedOut);
    EXPECT_EQ(message, "The HTTP request timed out: it took longer than 300 milliseconds.");
}

TEST_F(HttpBoundsTest, ALargeAnswerThatComesFastEnoughMayTakeLonger) {
    RawServer busy([](int connection) {
        writeAll(connection, "HTTP/1.1 200 OK\r\nContent-Length: 400000\r\n\r\n");
        for (int part = 0; part < 8; ++part) {
            std::this_thread::sleep_for(100ms);
            writeAll(connection, std::string(50'000, 'x'));
        }
    });
    HttpSession session(Options{.timeout = 60s, .totalTimeout = 200ms, .leastRate = 1000});
    EXPECT_EQ(runTask(session.send(get(busy.address()))).body.size(), 400'000U);
}

TEST_F(HttpBoundsTest, TheTimeThatBytesEarnIsBounded) {
    RawServer endless([](int connection) {
        writeAll(connection, "HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n");
        for (int part = 0; part < 1000 && send(connection, "x", 1, MSG_NOSIGNAL) == 1; ++part) {
            std::this_thread::sleep_for(10ms);
        }
    });
    const Options options{.timeout = 60s, .totalTimeout = 200ms, .leastRate = 1, .mostExtraTime = 100ms};
    EXPECT_EQ(failure(get(endless.address()), options), Reason::timedOut);
}

// Slow networks deliver a large answer over more than the time-out without progress.
TEST_F(HttpBoundsTest, AnAnswerThatKeepsComingDoesNotTimeOutWithinTheTotalLimit) {
    RawServer slow([](int connection) {
        writeAll(connection, "HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\n");
        for (int part = 0; part < 8; ++part) {
            std::this_thread::sleep_for(300ms);
            writeAll(connection, "x");
        }
    });
    HttpSession session(Options{.timeout = 2s});
    EXPECT_EQ(runTask(session.send(get(slow.address()))), (HttpResponse{200, "xxxxxxxx"}));
}

TEST_F(HttpBoundsTest, AnAnswerThatStopsInTheMiddleOfItsHeadOrItsBodyTimesOut) {
    for (const std::string beginning :
         {"HTTP/1.1 200 OK\r\nContent-Le", "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n01234"}) {
        RawServer stalling([&](int connection) {
            writeAll(connection, beginning);
            awaitEnd(connection);
        });
        EXPECT_EQ(failure(get(stalling.address()), {.timeout = 100ms}), Reason::timedOut) << beginning;
    }
}

TEST_F(HttpBoundsTest, ATimeoutOfWholeSecondsIsNamedInSeconds) {
    server.answer({.fault = Fault::silence});
    EXPECT_EQ(failure(get(server.address()), {.timeout = 1s}), Reason::timedOut);
    EXPECT_EQ(message, "The HTTP request timed out: no progress for 1 seconds.");
}

TEST_F(HttpBoundsTest, ATimeoutOfOneRequestLeavesTheOthersAlone) {
    HttpSession session(Options{.timeout = 100ms});
    server.answerTo("GET /silent", {.fault = Fault::silence});
    server.answerTo("GET /well", {.body = "well"});
    EXPECT_EQ(failure(session, get(server.address() + "/silent")), Reason::timedOut);
    EXPECT_EQ(runTask(session.send(get(server.address() + "/well"))).body, "well");
}

TEST_F(HttpBoundsTest, AChunkedBodyThatIsCutIsATransportError) {
    RawServer cutting([](int connection) {
        writeAll(connection, "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\n01234\r\n");
    });
    EXPECT_EQ(failure(get(cutting.address())), Reason::failed);
}

TEST_F(HttpBoundsTest, AnAnswerThatIsNotHTTPIsToldApartOnAConnectionThatWasUsedBefore) {
    HttpSession session;
    server.answer({.body = "well"});
    server.answer({.body = "SSH-2.0-server\r\n", .fault = Fault::notHTTP});
    EXPECT_EQ(runTask(session.send(get(server.address()))).body, "well");
    EXPECT_EQ(failure(session, get(server.address())), Reason::notHTTP);
    EXPECT_EQ(server.connections(), 1U);
}

TEST_F(HttpBoundsTest, AnAnswerThatIsNotHTTPIsToldApartBehindARedirect) {
    server.answer({.status = 302, .headers = {{"Location", "/new"}}});
    server.answer({.body = "SSH-2.0-server\r\n", .fault = Fault::notHTTP});
    EXPECT_EQ(failure(get(server.address())), Reason::notHTTP);
}

TEST_F(HttpBoundsTest, AStatusLineWithoutAStatusIsNotHTTP) {
    server.answer({.body = "HTTP/1.1 fine\r\n\r\n", .fault = Fault::notHTTP});
    EXPECT_EQ(failure(get(server.address())), Reason::notHTTP);
}

TEST_F(HttpBoundsTest, AnAnswerOfNothingAtAllIsATransportError) {
    server.answer({.fault = Fault::noAnswer});
    EXPECT_EQ(failure(get(server.address())), Reason::failed);
}

}  // namespace
}  // namespace quernlight
