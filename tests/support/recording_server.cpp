#include "tests/support/recording_server.hpp"

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>

#include <boost/algorithm/string/predicate.hpp>
#include <boost/asio.hpp>

#include "tests/support/run_task.hpp"

namespace quernlight::test {
namespace asio = boost::asio;
using asio::ip::tcp;
namespace {

std::string reply(const ScriptedAnswer& answer) {
    if (answer.fault == ScriptedAnswer::Fault::notHTTP) {
        return answer.body;
    }
    std::string text = "HTTP/1.1 " + std::to_string(answer.status) + " Scripted\r\n";
    for (const auto& [name, value] : answer.headers) {
        text += name + ": " + value + "\r\n";
    }
    text += "Content-Length: " + std::to_string(answer.body.size()) + "\r\n\r\n";
    const bool cut = answer.fault == ScriptedAnswer::Fault::cutBody;
    return text + answer.body.substr(0, cut ? answer.body.size() / 2 : answer.body.size());
}

std::pair<std::string, std::string> parseHeader(const std::string& line) {
    const auto colon = line.find(':');
    const auto value = line.find_first_not_of(' ', colon + 1);
    return {line.substr(0, colon), value == std::string::npos ? "" : line.substr(value)};
}

RecordedRequest parseHead(const std::string& head) {
    RecordedRequest request;
    const auto methodEnd = head.find(' ');
    const auto targetEnd = head.find(' ', methodEnd + 1);
    request.method = head.substr(0, methodEnd);
    request.target = head.substr(methodEnd + 1, targetEnd - methodEnd - 1);
    std::size_t begin = head.find("\r\n") + 2;
    for (auto end = head.find("\r\n", begin); end > begin; end = head.find("\r\n", begin)) {
        request.headers.push_back(parseHeader(head.substr(begin, end - begin)));
        begin = end + 2;
    }
    return request;
}

}  // namespace

std::optional<std::string> RecordedRequest::header(std::string_view name) const {
    for (const auto& [given, value] : headers) {
        if (boost::algorithm::iequals(given, name)) {
            return value;
        }
    }
    return std::nullopt;
}

struct RecordingServer::State {
    asio::io_context io;
    tcp::acceptor acceptor{io, tcp::endpoint(asio::ip::address_v4::loopback(), 0)};
    asio::steady_timer arrival{io, asio::steady_timer::time_point::max()};  // cancelled by every request

    mutable std::mutex lock;
    mutable std::condition_variable changed;
    std::deque<ScriptedAnswer> answers;
    std::map<std::string, std::deque<ScriptedAnswer>> answersTo;
    std::vector<RecordedRequest> requests;
    std::size_t opened = 0;
    std::size_t closed = 0;

    std::thread thread;

    Task<void> acceptAll() {
        while (true) {
            tcp::socket socket = co_await acceptor.async_accept(asio::use_awaitable);
            count(opened);
            // A connection that breaks is what some tests are about.
            asio::co_spawn(io, serve(std::move(socket)), [this](std::exception_ptr) { count(closed); });
        }
    }

    Task<void> serve(tcp::socket socket) {
        std::string buffer;
        bool open = true;
        while (open) {
            const ScriptedAnswer answer = record(co_await readRequest(socket, buffer));
            while (requestCount() < answer.afterRequests) {
                co_await arrival.async_wait(asio::as_tuple(asio::use_awaitable));
            }
            open = co_await send(socket, answer);
        }
    }

    Task<RecordedRequest> readRequest(tcp::socket& socket, std::string& buffer) {
        const std::size_t headSize = co_await asio::async_read_until(socket, asio::dynamic_buffer(buffer),
                                                                     "\r\n\r\n", asio::use_awaitable);
        RecordedRequest request = parseHead(buffer.substr(0, headSize));
        buffer.erase(0, headSize);
        const std::size_t bodySize = std::stoul(request.header("Content-Length").value_or("0"));
        if (buffer.size() < bodySize) {
            co_await asio::async_read(socket, asio::dynamic_buffer(buffer),
                                      asio::transfer_exactly(bodySize - buffer.size()), asio::use_awaitable);
        }
        request.body = buffer.substr(0, bodySize);
        buffer.erase(0, bodySize);
        co_return request;
    }

    /// Whether the connection stays open.
    Task<bool> send(tcp::socket& socket, ScriptedAnswer answer) {
        using Fault = ScriptedAnswer::Fault;
        if (answer.fault == Fault::silence) {
            char byte = 0;
            co_await asio::async_read(socket, asio::buffer(&byte, 1), asio::use_awaitable);
        }
        if (answer.fault != Fault::noAnswer) {
            const std::string text = reply(answer);
            co_await asio::async_write(socket, asio::buffer(text), asio::use_awaitable);
        }
        co_return answer.fault == Fault::none;
    }

    ScriptedAnswer record(RecordedRequest request) {
        const std::lock_guard guard(lock);
        const std::string line = request.line();
        requests.push_back(std::move(request));
        changed.notify_all();
        arrival.cancel();
        auto& own = answersTo[line];
        auto& queue = own.empty() ? answers : own;
        if (queue.empty()) {
            return {.status = 501, .body = "no answer for " + line};
        }
        ScriptedAnswer answer = std::move(queue.front());
        queue.pop_front();
        return answer;
    }

    void count(std::size_t& counter) {
        const std::lock_guard guard(lock);
        ++counter;
        changed.notify_all();
    }

    std::size_t requestCount() const {
        const std::lock_guard guard(lock);
        return requests.size();
    }

    template <class Condition>
    void await(Condition alert) const {
        std::unique_lock guard(lock);
        if (!changed.wait_for(guard, generousBound, alert)) {
            throw std::runtime_error("what the test waits for did not reach the server in time");
        }
    }
};

RecordingServer::RecordingServer() : state_(std::make_unique<State>()) {
    asio::co_spawn(state_->io, state_->acceptAll(), asio::detached);
    state_->thread = std::thread([state = state_.get()] { state->io.run(); });
}

RecordingServer::~RecordingServer() {
    state_->io.stop();
    state_->thread.join();
}

unsigned short RecordingServer::port() const {
    return state_->acceptor.local_endpoint().port();
}

std::string RecordingServer::address() const {
    return "http://127.0.0.1:" + std::to_string(port());
}

void RecordingServer::answer(ScriptedAnswer answer) {
    const std::lock_guard guard(state_->lock);
    state_->answers.push_back(std::move(answer));
}

void RecordingServer::answerTo(const std::string& line, ScriptedAnswer answer) {
    const std::lock_guard guard(state_->lock);
    state_->answersTo[line].push_back(std::move(answer));
}

std::vector<RecordedRequest> RecordingServer::requests() const {
    const std::lock_guard guard(state_->lock);
    return state_->requests;
}

std::vector<std::string> RecordingServer::lines() const {
    std::vector<std::string> lines;
    for (const RecordedRequest& request : requests()) {
        lines.push_back(request.line());
    }
    return lines;
}

std::size_t RecordingServer::connections() const {
    const std::lock_guard guard(state_->lock);
    return state_->opened;
}

void RecordingServer::awaitRequests(std::size_t count) const {
    state_->await([&] { return state_->requests.size() >= count; });
}

void RecordingServer::awaitClosedConnections(std::size_t count) const {
    state_->await([&] { return state_->closed >= count; });
}

}  // namespace quernlight::test
