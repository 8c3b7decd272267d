#include "standin/codex/tool_server.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <utility>

#include <sys/wait.h>
#include <unistd.h>
#include <boost/json.hpp>

#include "quernlight/platform/spawn.hpp"

namespace quernlight::standin::codex {
namespace {

namespace json = boost::json;

[[noreturn]] void failGone() {
    throw std::runtime_error("The tool server has gone.");
}

}  // namespace

ToolServer::ToolServer(const std::vector<std::string>& command) {
    std::signal(SIGPIPE, SIG_IGN);  // a server that has gone is told by the write
    Pipe toServer = openPipe();
    Pipe fromServer = openPipe();
    SpawnRequest request{
        .executable = command.front(),
        .arguments = command,
        .environment = currentEnvironment(),
        .workingDirectory = {},
        .streams = DescriptorStreams{.input = toServer.reading.get(), .output = fromServer.writing.get()}};
    child_ = spawnProcess(request);
    input_ = std::move(toServer.writing);
    output_ = std::move(fromServer.reading);
    ask("initialize", {{"protocolVersion", "2025-06-18"},
                       {"capabilities", json::object()},
                       {"clientInfo", json::object{{"name", "standin-codex"}, {"version", "0.1.0"}}}});
    send({{"jsonrpc", "2.0"}, {"method", "notifications/initialized"}});
}

ToolServer::~ToolServer() {
    input_.close();
    while (child_ > 0 && waitpid(child_, nullptr, 0) < 0 && errno == EINTR) {
    }
}

std::string ToolServer::fetchBug(const std::string& bugID) {
    return call("get_bug", bugID, "{}");
}

void ToolServer::setStatus(const std::string& bugID, const std::string& statusJSON) {
    call("update_bug_status", bugID, statusJSON);
}

void ToolServer::postComment(const std::string& bugID, const std::string& commentJSON) {
    call("create_comment", bugID, commentJSON);
}

std::string ToolServer::call(std::string_view tool, const std::string& bugID,
                             const std::string& argumentsJSON) {
    json::object arguments = json::parse(argumentsJSON).as_object();
    arguments["bug_id"] = bugID;
    const json::object answer = ask("tools/call", {{"name", tool}, {"arguments", std::move(arguments)}});
    const json::value* result = answer.if_contains("result");
    if (!result) {
        throw std::runtime_error("The tool server refused: " + json::serialize(answer));
    }
    std::string text(result->at("content").at(0).at("text").as_string());
    if (const json::value* failed = result->as_object().if_contains("isError"); failed && failed->as_bool()) {
        throw std::runtime_error(text);
    }
    return text;
}

json::object ToolServer::ask(std::string_view method, json::object params) {
    const int id = ++lastID_;
    send({{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", std::move(params)}});
    while (true) {
        json::object message = json::parse(readLine()).as_object();
        const json::value* answered = message.if_contains("id");
        if (answered && *answered == json::value(id)) {
            return message;
        }
    }
}

void ToolServer::send(const json::object& message) {
    const std::string line = json::serialize(message) + "\n";
    for (std::size_t sent = 0; sent < line.size();) {
        const ssize_t count = write(input_.get(), line.data() + sent, line.size() - sent);
        if (count < 0 && errno != EINTR) {
            failGone();
        }
        sent += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

std::string ToolServer::readLine() {
    std::array<char, 4096> chunk{};
    while (buffer_.find('\n') == std::string::npos) {
        const ssize_t count = read(output_.get(), chunk.data(), chunk.size());
        if (count == 0 || (count < 0 && errno != EINTR)) {
            failGone();
        }
        buffer_.append(chunk.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    const std::size_t end = buffer_.find('\n');
    std::string line = buffer_.substr(0, end);
    buffer_.erase(0, end + 1);
    return line;
}

}  // namespace quernlight::standin::codex
