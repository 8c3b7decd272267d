#include "host/tools/tool_server.hpp"

#include <csignal>

#include <sys/wait.h>
#include <unistd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/async_signal.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

Task<ToolAnswer> toolName(std::string tool, boost::json::object) {
    co_return ToolAnswer{.text = tool};
}

/// The server on two pipes, of which the test has the other ends.
class ToolServerTest : public testing::Test {
  protected:
    void write(const std::string& text) {
        ASSERT_EQ(::write(input.writing.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    /// All that comes out once the input has ended.
    std::string serve(ToolCaller caller = toolName) {
        input.writing = FileDescriptor();
        test::runTask(io, serveTools(input.reading.get(), output.writing.get(), std::move(caller)));
        output.writing = FileDescriptor();
        std::string text(1 << 20U, '\0');
        std::size_t size = 0;
        for (ssize_t count = 1; count > 0; size += static_cast<std::size_t>(std::max<ssize_t>(count, 0))) {
            count = read(output.reading.get(), text.data() + size, text.size() - size);
        }
        return text.substr(0, size);
    }

    boost::asio::io_context io;
    Pipe input = openPipe();
    Pipe output = openPipe();
};

TEST_F(ToolServerTest, EveryLineIsAnsweredAndNothingElseIsWritten) {
    write(
        "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"ping\"}\n\n{oops\n"
        "{\"jsonrpc\":\"2.0\",\"id\":2,\"method\":\"ping\"}");
    EXPECT_EQ(serve(),
              "{\"jsonrpc\":\"2.0\",\"id\":1,\"result\":{}}\n"
              "{\"jsonrpc\":\"2.0\",\"id\":null,\"error\":{\"code\":-32700,\"message\":"
              "\"The line is not JSON: syntax error\"}}\n"
              "{\"jsonrpc\":\"2.0\",\"id\":2,\"result\":{}}\n");
}

TEST_F(ToolServerTest, ABatchIsAnsweredInOneLineWithItsCalls) {
    write(
        "[{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"ping\"},{\"jsonrpc\":\"2.0\",\"id\":2,\"method\":"
        "\"tools/call\",\"params\":{\"name\":\"get_bug\"}}]\n");
    EXPECT_THAT(serve(), AllOf(StartsWith("[{\"jsonrpc\":\"2.0\",\"id\":1"),
                               HasSubstr("\"text\":\"get_bug\""), EndsWith("}]\n")));
}

TEST_F(ToolServerTest, ACallThatTakesItsTimeHoldsUpNobody) {
    const AsyncSignal goOn;
    const auto slow = [goOn](const std::string& tool, boost::json::object) -> Task<ToolAnswer> {
        return [](AsyncSignal signal, std::string name) -> Task<ToolAnswer> {
            if (name == "slow") {
                co_await signal.wait();
            } else {
                signal.notify();
            }
            co_return ToolAnswer{.text = name};
        }(goOn, tool);
    };
    write(
        "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"tools/call\",\"params\":{\"name\":\"slow\"}}\n"
        "{\"jsonrpc\":\"2.0\",\"id\":2,\"method\":\"tools/call\",\"params\":{\"name\":\"fast\"}}\n");
    const std::string answers = serve(slow);
    EXPECT_LT(answers.find("\"text\":\"fast\""), answers.find("\"text\":\"slow\""));
}

TEST_F(ToolServerTest, ItEndsWhenNobodyReadsItsAnswers) {
    write("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"ping\"}\n");
    output.reading = FileDescriptor();
    std::signal(SIGPIPE, SIG_IGN);  // as the program does
    test::runTask(io, serveTools(input.reading.get(), output.writing.get(), toolName));
}

TEST_F(ToolServerTest, ALineThatIsTooLongIsToldAndSkipped) {
    const pid_t writer = fork();
    if (writer == 0) {
        const std::string block(longestToolLine / 4, 'x');
        for (int count = 0; count < 6; ++count) {
            [[maybe_unused]] const auto written = ::write(input.writing.get(), block.data(), block.size());
        }
        const std::string ping = "\n{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"ping\"}\n";
        [[maybe_unused]] const auto written = ::write(input.writing.get(), ping.data(), ping.size());
        _exit(0);
    }
    EXPECT_THAT(serve(), AllOf(HasSubstr("The line is longer than 4194304 bytes."),
                               EndsWith("\"id\":1,\"result\":{}}\n")));
    waitpid(writer, nullptr, 0);
}

}  // namespace
}  // namespace quernlight::host
