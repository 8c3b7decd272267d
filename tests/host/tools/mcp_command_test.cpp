#include <csignal>

#include <sys/wait.h>
#include <unistd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/spawn.hpp"
#include "tests/host/tools/tools_fixture.hpp"

namespace quernlight::host {
namespace {

using quernlight::test::readFile;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// A program whose standard streams are pipes to the test.
class PipedProgram {
  public:
    explicit PipedProgram(const std::vector<std::string>& command) {
        std::signal(SIGPIPE, SIG_IGN);
        Pipe toProgram = openPipe();
        Pipe fromProgram = openPipe();
        const SpawnRequest request{.executable = command.front(),
                                   .arguments = command,
                                   .environment = currentEnvironment(),
                                   .streams = DescriptorStreams{.input = toProgram.reading.get(),
                                                                .output = fromProgram.writing.get(),
                                                                .error = STDERR_FILENO}};
        pid = spawnProcess(request);
        input = std::move(toProgram.writing);
        output = std::move(fromProgram.reading);
    }
    PipedProgram(const PipedProgram&) = delete;
    PipedProgram& operator=(const PipedProgram&) = delete;
    ~PipedProgram() {
        if (pid > 0) {
            kill(pid, SIGKILL);
            exitCode();
        }
    }
    void write(const std::string& text) const {
        ASSERT_EQ(::write(input.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    int exitCode() {
        int status = 0;
        waitpid(std::exchange(pid, -1), &status, 0);
        return exitCodeOfWaitStatus(status);
    }

    pid_t pid = -1;
    FileDescriptor input;
    FileDescriptor output;
};

class McpCommandTest : public test::ToolsFixture {
  protected:
    static std::vector<std::string> commandOf(const Agent& agent, const std::filesystem::path& home) {
        return toolServerCommand(QUERNLIGHT_DISPATCH_PATH, home, agent.sessionID, agent.secretFile);
    }
    /// What the program writes until it hangs up, or has written a line's end; the owner works meanwhile.
    std::string answer(const PipedProgram& program, bool untilLine = true) {
        return run(readFrom(program.output.get(), untilLine));
    }
    static std::string callLine(const std::string& tool, const std::string& arguments) {
        return R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":")" + tool +
               R"(","arguments":)" + arguments + "}}\n";
    }

  private:
    static Task<std::string> readFrom(int descriptor, bool untilLine) {
        boost::asio::posix::stream_descriptor stream(co_await boost::asio::this_coro::executor,
                                                     dup(descriptor));
        std::string text;
        std::string chunk(64 * 1024, '\0');
        bool isOpen = true;
        while (isOpen && !(untilLine && text.ends_with('\n'))) {
            const auto [error, size] = co_await stream.async_read_some(
                boost::asio::buffer(chunk), boost::asio::as_tuple(boost::asio::use_awaitable));
            isOpen = !error;
            text += chunk.substr(0, size);
        }
        co_return text;
    }
};

TEST_F(McpCommandTest, ItAnswersOnStandardOutputUntilItsInputEnds) {
    const auto agent = begin("3f2a9c1d");
    PipedProgram server(commandOf(*agent, home));
    server.write(callLine("get_bug", "{}"));
    EXPECT_THAT(answer(server), AllOf(HasSubstr("Crash"), HasSubstr("\"isError\":false")));
    server.input.close();
    EXPECT_EQ(answer(server, false), "");
    EXPECT_EQ(server.exitCode(), 0);
}

TEST_F(McpCommandTest, WithoutAnOwnerEveryCallSaysSo) {
    const auto agent = begin("3f2a9c1d");
    PipedProgram server(commandOf(*agent, home / "elsewhere"));
    server.write(callLine("get_bug", "{}"));
    EXPECT_THAT(answer(server),
                AllOf(HasSubstr("The dispatcher is not running"), HasSubstr("\"isError\":true")));
}

TEST_F(McpCommandTest, TheTokenIsNowhereWithinTheAgentsReachDuringACall) {
    auto agent = begin("3f2a9c1d");
    PipedProgram server(commandOf(*agent, home));
    std::string reach;
    agent->whenReported = [&] {
        for (const char* name : {"cmdline", "environ"}) {
            reach += readFile("/proc/" + std::to_string(server.pid) + "/" + name);
        }
        for (const std::filesystem::path& place : {home, agent->worktree}) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(place)) {
                reach += entry.is_regular_file() ? readFile(entry) : "";
            }
        }
    };
    server.write(callLine("create_comment", R"({"body":"Done."})"));
    EXPECT_THAT(answer(server), AllOf(HasSubstr("\"isError\":false"), Not(HasSubstr(token))));
    const std::string secret = readFile(agent->secretFile).substr(0, 64);
    EXPECT_THAT(reach, AllOf(HasSubstr("--secret-file"), HasSubstr(secret), Not(HasSubstr(token))));
}

class PublicClientTest : public McpCommandTest, public testing::WithParamInterface<const char*> {};

TEST_P(PublicClientTest, GetsAlongWithTheToolServer) {
    if (!std::filesystem::exists(std::filesystem::path(MCP_CLIENTS_PATH) / "node_modules")) {
        GTEST_SKIP() << "not installed; see packaging/install-mcp-clients";
    }
    const auto agent = begin("3f2a9c1d");
    std::vector<std::string> command{"/usr/bin/env", "node", PUBLIC_CLIENTS_SCRIPT, MCP_CLIENTS_PATH,
                                     GetParam()};
    const auto server = commandOf(*agent, home);
    command.insert(command.end(), server.begin(), server.end());
    PipedProgram program(command);
    const std::string seen = answer(program, false);
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_THAT(seen, AllOf(HasSubstr(R"("server":"quernlight")"),
                            HasSubstr(R"("tools":["get_bug","list_comments","list_bugs",)"),
                            HasSubstr(R"("title":"Crash","same":true,"refused":[true,"The bug)"),
                            HasSubstr(R"("bad":[true,"The argument \"body\" must be a text."])")));
    EXPECT_THAT(comments("3f2a9c1d"), testing::SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(All, PublicClientTest,
                         testing::Values("sdk", "client", "client-2026", "client-auto"),
                         [](const auto& kind) {
                             std::string name = kind.param;
                             std::erase(name, '-');
                             return name;
                         });

}  // namespace
}  // namespace quernlight::host
