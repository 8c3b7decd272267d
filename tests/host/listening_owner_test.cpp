#include <csignal>
#include <fstream>
#include <future>

#include <unistd.h>
#include <boost/asio.hpp>
#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/child_process.hpp"
#include "tests/host/control/raw_request.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

namespace asio = boost::asio;
using host::test::answerTo;
using host::test::head;
using host::test::statusOf;
using test::eventually;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// A dispatcher that listens on a port; its agent works on bug 3f2a9c1d for ever.
class ListeningOwnerTest : public test::DispatchFixture {
  protected:
    ListeningOwnerTest() {
        reportClearBug("3f2a9c1d");
        agentDoes("3f2a9c1d", "idle");
        mapApp();
        startBackend();
    }
    void listen() {
        owner = start(runWith({"--listen", "0"}));
        ASSERT_TRUE(owner->says("Listening on http://127.0.0.1:")) << owner->output();
        const std::string said = owner->output();
        const std::string before = "Listening on http://127.0.0.1:";
        port = static_cast<std::uint16_t>(std::stoi(said.substr(said.find(before) + before.size())));
        token = test::readFile(home() / "listen.token").substr(0, 64);
    }
    std::string host() const { return "127.0.0.1:" + std::to_string(port); }
    std::string requestFor(const std::string& path) const {
        return head("GET " + path, host(), {"Authorization: Bearer " + token});
    }
    std::string get(const std::string& path) const { return test::runTask(answerTo(port, requestFor(path))); }
    static std::string bodyOf(const std::string& answer) {
        return answer.substr(answer.find("\r\n\r\n") + 4);
    }

    std::unique_ptr<test::DispatchProcess> owner;
    std::uint16_t port = 0;
    std::string token;
};

TEST_F(ListeningOwnerTest, WhoHasTheTokenIsAnsweredAndOthersAreNot) {
    listen();
    const std::string answer = get("/v1/health");
    ASSERT_EQ(statusOf(answer), 200) << answer;
    const auto health = boost::json::parse(bodyOf(answer));
    EXPECT_EQ(health.at("owner").at("listening").as_string(), "http://" + host());
    EXPECT_THAT(dispatch({"status", "--home", home()}).output, HasSubstr("http://" + host()));
    EXPECT_EQ(statusOf(test::runTask(answerTo(port, head("GET /v1/health", host())))), 401);
    const auto evil = head("GET /v1/health", "evil.example", {"Authorization: Bearer " + token});
    EXPECT_EQ(statusOf(test::runTask(answerTo(port, evil))), 403);
}

TEST_F(ListeningOwnerTest, TheTokenStandsInItsFileAndNowhereElse) {
    listen();
    ASSERT_TRUE(owner->says("3f2a9c1d  goalAccepted: ")) << owner->output();
    EXPECT_EQ(statusOf(get("/v1/queue")), 200);
    test::runTask(answerTo(port, head("GET /v1/queue", host(), {"Authorization: Bearer " + token + "x"})));
    for (const pid_t process : {owner->pid(), agent("3f2a9c1d")}) {
        EXPECT_THAT(test::environmentOf(process), Not(HasSubstr(token)));
        EXPECT_THAT(test::readFile("/proc/" + std::to_string(process) + "/cmdline"), Not(HasSubstr(token)));
    }
    owner->signal(SIGTERM);
    EXPECT_EQ(owner->exitCode(), 0);
    EXPECT_THAT(filesHolding(token, repository.scratch("")), ElementsAre((home() / "listen.token").string()));
}

TEST_F(ListeningOwnerTest, APortThatAnotherHasEndsTheRunBeforeAnythingStarts) {
    asio::io_context io;
    const asio::ip::tcp::acceptor taken(io, {asio::ip::address_v4::loopback(), 0});
    const std::string number = std::to_string(taken.local_endpoint().port());
    const auto outcome = dispatch(runWith({"--listen", number}));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, AllOf(HasSubstr("Port " + number), HasSubstr("--listen")));
    EXPECT_FALSE(std::filesystem::exists(home() / "control.sock"));
    EXPECT_THAT(history("3f2a9c1d"), Not(HasSubstr("startingCodex")));
}

TEST_F(ListeningOwnerTest, WhatIsNoPortIsWrongUsage) {
    for (const char* given : {"65536", "-1", "x", "", "0x50", "080", "+80", " 80", "80.0", "8e1"}) {
        EXPECT_EQ(dispatch(runWith({"--listen", given})).exitCode, 2) << given;
    }
}

TEST_F(ListeningOwnerTest, ItsMetricsAreAsPrometheusReadsThem) {
    listen();
    ASSERT_TRUE(owner->says("3f2a9c1d  goalAccepted: ")) << owner->output();
    const std::string answer = get("/metrics");
    EXPECT_THAT(answer, AllOf(StartsWith("HTTP/1.1 200 "), HasSubstr("text/plain; version=0.0.4")));
    const std::string metrics = bodyOf(answer);
    for (const char* line :
         {"quernlight_queue_bugs{status=\"running\"} 1\n", "quernlight_goals_total{result=\"accepted\"} 1\n",
          "quernlight_prompt_wait_seconds_count 1\n", "quernlight_backend_poll_errors_total 0\n"}) {
        EXPECT_THAT(metrics, HasSubstr(line));
    }
    for (const char* empty : {"quernlight_backend_polls_total 0\n", "quernlight_recorded_bytes_total 0\n",
                              "quernlight_resident_memory_bytes 0\n", "3f2a9c1d", "Crash on launch"}) {
        EXPECT_THAT(metrics, Not(HasSubstr(empty)));
    }
    test::writeFile(repository.scratch("metrics.txt"), metrics);
    ChildProcessRequest check;
    check.executable = "/usr/bin/python3";
    check.arguments = {std::filesystem::path(CHECK_API_DOCUMENT).replace_filename("check_metrics.py"),
                       repository.scratch("metrics.txt")};
    const auto checked = test::runTask(runChildProcess(std::move(check)));
    EXPECT_EQ(checked.exitCode, 0) << checked.output;
}

/// Memory of a process, in MiB.
std::size_t memoryOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/statm");
    std::size_t all = 0, resident = 0;
    file >> all >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) >> 20U;
}

/// Asks again and again; how many answers were not 200.
Task<int> askOften(std::uint16_t port, std::string request, int times) {
    int refused = 0;
    for (int count = 0; count < times; ++count) {
        std::string bytes = request;
        const std::string answer = co_await answerTo(port, std::move(bytes));
        refused += statusOf(answer) == 200 ? 0 : 1;
    }
    co_return refused;
}

class CrowdTest : public ListeningOwnerTest {
  protected:
    /// Sends requests until nobody takes any more, and reads no answer.
    asio::ip::tcp::socket stuckClient() {
        asio::ip::tcp::socket socket(io);
        socket.connect({asio::ip::address_v4::loopback(), port});
        socket.non_blocking(true);
        std::string request = requestFor("/v1/settings");
        request.replace(request.find("Connection: close\r\n"), 19, "");
        boost::system::error_code error;
        for (int count = 0; count < 100'000 && !error; ++count) {
            asio::write(socket, asio::buffer(request), error);
        }
        EXPECT_EQ(error, asio::error::would_block);
        return socket;
    }
    /// So many clients at once, each of which asks several times; how many answers were not 200.
    int refusalsOf(int clients) {
        std::vector<std::future<int>> asked;
        for (int client = 0; client < clients; ++client) {
            const char* path = client % 2 == 0 ? "/v1/queue/3f2a9c1d" : "/v1/health";
            asked.push_back(asio::co_spawn(io, askOften(port, requestFor(path), 2), asio::use_future));
        }
        io.run_for(test::generousBound);
        int refused = 0;
        for (auto& one : asked) {
            const bool isDone = one.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
            refused += isDone ? one.get() : 1000;
        }
        return refused;
    }

    asio::io_context io;
};

TEST_F(CrowdTest, TwoHundredClientsAndAStuckOneHoldBackNeitherASessionNorMemory) {
    constexpr std::size_t mostMore = 200;  // MiB, of a build whose freed memory is kept for a while
    environment["ASAN_OPTIONS"] = environment["ASAN_OPTIONS"] + ":quarantine_size_mb=16";
    agentDoesAsToldAgain();
    listen();
    ASSERT_TRUE(owner->says("3f2a9c1d  enqueued: ")) << owner->output();
    const std::size_t before = memoryOf(owner->pid());
    const auto stuck = stuckClient();
    EXPECT_EQ(refusalsOf(200), 0);
    EXPECT_TRUE(owner->says("3f2a9c1d  completed: ")) << owner->output();
    EXPECT_LT(memoryOf(owner->pid()), before + mostMore);
    EXPECT_EQ(statusOf(get("/v1/health")), 200);
}

}  // namespace
}  // namespace quernlight
