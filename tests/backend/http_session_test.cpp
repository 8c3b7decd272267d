#include "quernlight/backend/http_session.hpp"

#include <cstdlib>
#include <future>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>
#include <gtest/gtest.h>

#include "quernlight/backend/http_worker.hpp"
#include "tests/support/recording_server.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

namespace asio = boost::asio;
using namespace test;
using Fault = ScriptedAnswer::Fault;
using Reason = TransportError::Reason;

Task<std::thread::id> threadAfterAnswer(HttpSession& session, HttpRequest request) {
    co_await session.send(std::move(request));
    co_return std::this_thread::get_id();
}

class HttpSessionTest : public testing::Test {
  protected:
    HttpRequest request(const std::string& path, const char* method = "GET") const {
        HttpRequest request{.method = method, .url = Url::parse(server.address() + path).value()};
        request.headers = {{"Authorization", "Bearer secret-token"}};
        return request;
    }

    HttpRequest post(const std::string& path, std::string body) const {
        HttpRequest posted = request(path, "POST");
        posted.body = std::move(body);
        return posted;
    }

    HttpResponse send(HttpRequest toSend) { return runTask(session.send(std::move(toSend))); }

    /// Why the request failed; fails the test when it did not.
    Reason failure(HttpSession& with, HttpRequest toSend) {
        try {
            runTask(with.send(std::move(toSend)));
        } catch (const TransportError& error) {
            message = error.what();
            mayHaveArrived = error.mayHaveArrived();
            EXPECT_EQ(message.find("secret-token"), std::string::npos);
            return error.reason();
        }
        ADD_FAILURE() << "the request was answered";
        return Reason::failed;
    }

    RecordingServer server;
    HttpSession session;
    std::string message;  // of the last failure
    bool mayHaveArrived = false;
};

TEST_F(HttpSessionTest, ARequestArrivesAsItWasGivenAndItsAnswerComesBack) {
    server.answer({.status = 404, .body = "nothing here"});
    EXPECT_EQ(send(post("/a%2Fb/../c?x=1", "body")), (HttpResponse{404, "nothing here"}));
    const RecordedRequest seen = server.requests().at(0);
    EXPECT_EQ(seen.line(), "POST /a%2Fb/../c?x=1");
    EXPECT_EQ(seen.header("Authorization"), "Bearer secret-token");
    EXPECT_EQ(seen.body, "body");
}

TEST_F(HttpSessionTest, AHeaderValueArrivesAsTheBytesItHas) {
    for (const char* value : {"", "Nötes; \"a\": b"}) {
        server.answer({});
        HttpRequest toSend = request("/");
        toSend.headers.push_back({"x-app-name", value});
        send(toSend);
        EXPECT_EQ(server.requests().back().header("x-app-name"), value);
    }
}

TEST_F(HttpSessionTest, ALargeBodyIsSentWholeAndWithoutAPause) {
    const std::string body(3'000'000, 'x');
    server.answer({.body = body});
    EXPECT_EQ(send(post("/", body)).body, body);
    EXPECT_EQ(server.requests().at(0).body, body);
    EXPECT_EQ(server.requests().at(0).header("Expect"), std::nullopt);
}

TEST_F(HttpSessionTest, AConnectionIsUsedAgainForReading) {
    server.answer({});
    server.answer({});
    send(request("/1"));
    send(request("/2"));
    EXPECT_EQ(server.connections(), 1U);
}

// libcurl repeats a request on its own when a kept connection turns out to be dead.
TEST_F(HttpSessionTest, ARequestThatChangesSomethingIsNeverSentTwice) {
    server.answer({});
    server.answer({.fault = Fault::noAnswer});
    send(request("/1"));
    EXPECT_EQ(failure(session, post("/v1/bugs", "{}")), Reason::failed);
    EXPECT_EQ(server.lines(), (std::vector<std::string>{"GET /1", "POST /v1/bugs"}));
}

TEST_F(HttpSessionTest, ABodyThatIsCutInTheMiddleIsATransportError) {
    server.answer({.body = "0123456789", .fault = Fault::cutBody});
    EXPECT_EQ(failure(session, request("/")), Reason::failed);
    EXPECT_NE(message.find("5 bytes remaining"), std::string::npos) << message;
}

TEST_F(HttpSessionTest, NoProgressIsATimeout) {
    HttpSession impatient(HttpSession::Options{.timeout = std::chrono::milliseconds(50)});
    server.answer({.fault = Fault::silence});
    EXPECT_EQ(failure(impatient, request("/")), Reason::timedOut);
    EXPECT_EQ(message, "The HTTP request timed out: no progress for 50 milliseconds.");
}

TEST_F(HttpSessionTest, NobodyListeningIsATransportError) {
    const auto free = std::make_unique<RecordingServer>()->address();
    HttpRequest toSend = request("/");
    toSend.url = Url::parse(free).value();
    EXPECT_EQ(failure(session, toSend), Reason::failed);
}

TEST_F(HttpSessionTest, AFailureTellsWhetherTheRequestMayHaveArrived) {
    const auto free = std::make_unique<RecordingServer>()->address();
    HttpRequest nowhere = post("/", "{}");
    nowhere.url = Url::parse(free).value();
    failure(session, nowhere);
    EXPECT_FALSE(mayHaveArrived);
    HttpSession small(HttpSession::Options{.maximumRequestSize = 1});
    failure(small, post("/", "{}"));
    EXPECT_FALSE(mayHaveArrived);
    server.answer({.fault = Fault::noAnswer});
    failure(session, post("/", "{}"));
    EXPECT_TRUE(mayHaveArrived);
}

TEST_F(HttpSessionTest, AnAnswerThatIsNotHTTPIsToldApart) {
    server.answer({.body = "SSH-2.0-server\r\n", .fault = Fault::notHTTP});
    EXPECT_EQ(failure(session, request("/")), Reason::notHTTP);
}

TEST_F(HttpSessionTest, AnAnswerBeyondTheBoundIsATransportError) {
    HttpSession small(HttpSession::Options{.maximumAnswerSize = 10});
    server.answer({.body = "0123456789"});
    server.answer({.body = "0123456789A"});
    EXPECT_EQ(runTask(small.send(request("/"))).body, "0123456789");
    EXPECT_EQ(failure(small, request("/")), Reason::answerTooLarge);
}

TEST_F(HttpSessionTest, AHeaderValueWithALineBreakIsRefusedBeforeSending) {
    for (const std::string value : {"a\r\nX: y", "a\nb", "secret-token\r"}) {
        HttpRequest toSend = request("/");
        toSend.headers = {{"x-app-name", value}};
        EXPECT_EQ(failure(session, toSend), Reason::lineBreakInHeader);
        EXPECT_EQ(message, "The HTTP header \"x-app-name\" contains a line break.");
    }
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(HttpSessionTest, OnlyHTTPIsSpoken) {
    server.answer({.status = 302, .headers = {{"Location", "file:///etc/hostname"}}});
    EXPECT_EQ(failure(session, request("/")), Reason::failed);
    HttpRequest file = request("/");
    file.url = Url::parse("file:///etc/hostname").value();
    EXPECT_EQ(failure(session, file), Reason::failed);
}

TEST_F(HttpSessionTest, ThisMachineIsReachedWithoutAProxy) {
    RecordingServer proxy;
    ::setenv("http_proxy", proxy.address().c_str(), 1);
    {
        HttpSession withProxy;
        server.answer({.body = "direct"});
        EXPECT_EQ(runTask(withProxy.send(request("/"))).body, "direct");
        proxy.answer({.body = "by proxy"});
        HttpRequest far = request("/");
        far.url = Url::parse("http://backend.invalid/x").value();
        EXPECT_EQ(runTask(withProxy.send(far)).body, "by proxy");
    }
    ::unsetenv("http_proxy");
    EXPECT_EQ(proxy.lines(), std::vector<std::string>{"GET http://backend.invalid/x"});
}

TEST_F(HttpSessionTest, TheEnvironmentsHostsWithoutProxyAreKept) {
    EXPECT_EQ(hostsWithoutProxy({}), "localhost,127.0.0.0/8,::1");
    EXPECT_EQ(hostsWithoutProxy("a.example"), "a.example,localhost,127.0.0.0/8,::1");
    EXPECT_EQ(hostsWithoutProxy("*"), "*");
}

TEST_F(HttpSessionTest, CancellingTheCoroutineEndsTheTransfer) {
    server.answer({.fault = Fault::silence});
    asio::thread_pool pool(1);
    asio::cancellation_signal cancel;
    auto result = asio::co_spawn(pool, session.send(request("/")),
                                 asio::bind_cancellation_slot(cancel.slot(), asio::use_future));
    server.awaitRequests(1);
    asio::post(pool, [&] { cancel.emit(asio::cancellation_type::terminal); });
    EXPECT_THROW(result.get(), boost::system::system_error);
    server.awaitClosedConnections(1);
    pool.join();
}

TEST_F(HttpSessionTest, ClosingTheSessionFailsWhatIsUnderWay) {
    auto closing = std::make_unique<HttpSession>();
    server.answer({.fault = Fault::silence});
    asio::thread_pool pool(1);
    auto result = asio::co_spawn(pool, closing->send(request("/")), asio::use_future);
    server.awaitRequests(1);
    closing.reset();
    EXPECT_THROW(result.get(), TransportError);
    pool.join();
}

TEST_F(HttpSessionTest, TheAwaitingCoroutineGoesOnWhereItWas) {
    server.answer({});
    EXPECT_EQ(runTask(threadAfterAnswer(session, request("/"))), std::this_thread::get_id());
}

TEST_F(HttpSessionTest, ManyRequestsFromManyThreadsAreAllAnswered) {
    constexpr std::size_t count = 50;
    for (std::size_t index = 0; index < count; ++index) {
        server.answerTo("GET /" + std::to_string(index), {.body = std::to_string(index)});
    }
    asio::thread_pool pool(4);
    std::vector<std::future<HttpResponse>> answers;
    for (std::size_t index = 0; index < count; ++index) {
        answers.push_back(
            asio::co_spawn(pool, session.send(request("/" + std::to_string(index))), asio::use_future));
    }
    for (std::size_t index = 0; index < count; ++index) {
        EXPECT_EQ(answers[index].get(), (HttpResponse{200, std::to_string(index)}));
    }
    pool.join();
}

TEST_F(HttpSessionTest, ThePauseThatAnAnswerAsksForIsHandedOn) {
    server.answer({.status = 503, .headers = {{"Retry-After", "120"}}});
    server.answer({.status = 429, .headers = {{"Retry-After", "Fri, 31 Dec 2100 23:59:59 GMT"}}});
    server.answer({.status = 503, .headers = {{"Retry-After", "soon"}}});
    server.answer({.status = 503});
    EXPECT_EQ(send(request("/v1/apps")).retryAfter, std::chrono::seconds(120));
    EXPECT_GT(send(request("/v1/apps")).retryAfter, std::chrono::hours(1));
    EXPECT_EQ(send(request("/v1/apps")).retryAfter, std::nullopt);
    EXPECT_EQ(send(request("/v1/apps")).retryAfter, std::nullopt);
}

}  // namespace
}  // namespace quernlight
