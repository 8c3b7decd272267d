#include "host/tools/tool_server.hpp"

#include <chrono>
#include <fstream>
#include <utility>

#include <boost/asio.hpp>
#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include "host/control/control_client.hpp"
#include "host/process/task_set.hpp"
#include "host/text/failure_sentence.hpp"
#include "host/tools/line_stream.hpp"
#include "quernlight/platform/operation_queue.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;
namespace asio = boost::asio;

constexpr std::size_t mostCalls = 16;
constexpr std::chrono::seconds timeForTheLast{1};
constexpr std::size_t largestText = std::size_t{4} << 20U;  // public clients take ten MiB, escaped, in a line

std::string secretIn(const std::filesystem::path& file) {
    constexpr std::size_t longest = 1024;
    std::ifstream stream(file, std::ios::binary);
    std::string text(longest, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    return std::string(trimmed(text));
}

ToolAnswer error(std::string sentence) {
    return {.text = std::move(sentence), .isError = true};
}

Task<ToolAnswer> callThroughOwner(ToolServerSession session, std::string tool, json::object arguments) {
    ControlRequest request{.method = "POST",
                           .target = controlTarget({"v1", "sessions", session.sessionID, "tools", tool}),
                           .secret = secretIn(session.secretFile),
                           .body = json::serialize(arguments)};
    if (request.secret.empty()) {
        co_return error("The secret of this session cannot be read (" + session.secretFile.string() +
                        "); the session has ended.");
    }
    try {
        ControlResponse response = co_await askOwner(session.home, std::move(request));
        auto refusal = problemOf(response);
        if (response.body.size() > largestText) {
            co_return error("The answer has " + std::to_string(response.body.size()) +
                            " bytes, too many to be shown; ask for less.");
        }
        co_return refusal ? error(std::move(refusal->detail)) : ToolAnswer{.text = std::move(response.body)};
    } catch (const OwnerDidNotAnswer& failure) {
        co_return error(std::string(failure.what()) +
                        " It is not known whether anything was changed; look with list_comments or get_bug.");
    } catch (const OwnerNotRunning& failure) {
        co_return error(failure.what());
    }
}

/// One client, from its first line to its last.
class ToolServer {
  public:
    ToolServer(asio::any_io_executor executor, int input, int output, ToolCaller call)
        : lines_(executor, input, longestToolLine),
          output_(executor, output),
          call_(std::move(call)),
          tasks_(executor, reportFailure) {}

    Task<void> run() {
        while (!isDeaf_) {
            const LineReader::Line line = co_await lines_.next();
            if (line.kind == LineReader::Kind::end) {
                break;
            }
            if (line.kind == LineReader::Kind::tooLong || !trimmed(line.text).empty()) {
                McpReaction reaction = line.kind == LineReader::Kind::tooLong
                                           ? McpProtocol::refuseLongLine(longestToolLine)
                                           : protocol_.take(line.text);
                co_await react(std::move(reaction));
            }
        }
        const auto deadline = std::chrono::steady_clock::now() + timeForTheLast;
        while (!isDeaf_ && underWay_ > 0 && std::chrono::steady_clock::now() < deadline) {
            co_await callEnded_.waitUntil(deadline);
        }
        co_await tasks_.end();
    }

  private:
    Task<void> react(McpReaction reaction) {
        if (reaction.calls.empty()) {
            co_return co_await write(std::move(reaction));
        }
        while (underWay_ >= mostCalls) {
            co_await callEnded_.wait();
        }
        ++underWay_;
        tasks_.add("a call of a tool", makeCalls(std::move(reaction)));
    }

    Task<void> makeCalls(McpReaction reaction) {
        for (WantedCall& call : reaction.calls) {
            ToolAnswer answer = co_await call_(call.tool, std::move(call.arguments));
            reaction.answers.push_back(McpProtocol::answerTo(call, std::move(answer)));
        }
        co_await write(std::move(reaction));
        --underWay_;
        callEnded_.notify();
    }

    Task<void> write(McpReaction reaction) {
        std::string text;
        if (reaction.isBatch && !reaction.answers.empty()) {
            text = json::serialize(json::array(reaction.answers.begin(), reaction.answers.end())) + "\n";
        } else {
            for (const json::object& answer : reaction.answers) {
                text += json::serialize(answer) + "\n";
            }
        }
        if (!text.empty()) {
            const bool isRead = co_await writes_.run(output_.write(std::move(text)));
            if (!isRead) {
                isDeaf_ = true;
                lines_.stop();
            }
        }
    }

    LineReader lines_;
    LineWriter output_;
    const ToolCaller call_;
    McpProtocol protocol_;
    OperationQueue writes_;
    std::size_t underWay_ = 0;  // lines whose calls have not ended
    AsyncSignal callEnded_;
    bool isDeaf_ = false;  // nobody reads the output any more
    TaskSet tasks_;
};

}  // namespace

ToolCaller askingOwner(ToolServerSession session) {
    return [session = std::move(session)](std::string tool, json::object arguments) {
        return callThroughOwner(session, std::move(tool), std::move(arguments));
    };
}

Task<void> serveTools(int input, int output, ToolCaller call) {
    const auto server =
        std::make_unique<ToolServer>(co_await asio::this_coro::executor, input, output, std::move(call));
    co_await server->run();
}

}  // namespace quernlight::host
