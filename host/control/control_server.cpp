#include "host/control/control_server.hpp"

#include <algorithm>
#include <array>
#include <list>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include <unistd.h>
#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include "host/control/caller.hpp"
#include "host/control/caller_rates.hpp"
#include "host/control/control_socket.hpp"
#include "host/control/http_messages.hpp"
#include "host/control/websocket_channel.hpp"
#include "host/process/task_set.hpp"
#include "quernlight/platform/async_signal.hpp"
#include "quernlight/platform/peer_user.hpp"

namespace quernlight::host {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::generic::stream_protocol;
using boost::system::error_code;

using Stream = ControlStream;
using Parser = http::request_parser<http::string_body>;

constexpr auto quietly = asio::as_tuple(asio::use_awaitable);
constexpr std::chrono::milliseconds longestFarewell{1500};
constexpr std::chrono::seconds longestTurningAway{1};
constexpr std::size_t mostUnread = std::size_t{256} << 10U;

using TakeOver = std::function<Task<void>(ControlChannel&)>;

/// Where connections come in. On one with a gate nobody is known by the connection.
struct Door {
    ControlAcceptor& acceptor;
    ListenerGate* gate = nullptr;
    AsyncSignal changed{};  // there are fewer connections, or more of which one may be closed
};

/// What somebody has connected.
struct Connection {
    Stream stream;
    const Caller caller;
    std::string callerName;
    ListenerGate* gate = nullptr;
    bool isTurnedAway = false;
};

constexpr const char* strangers = "strangers on the listener";
constexpr const char* tokenBringers = "the listener";

/// A channel that is open, and whose it is.
struct OpenChannel {
    std::shared_ptr<WebSocketChannel> channel;
    std::string callerName;
};

/// The answer to a request that could not be read; a caller that only hung up needs none. A request line
/// without an end has no target yet.
std::optional<ControlResponse> refusalOf(error_code error, const HttpHeader& header) {
    const bool isHTTP = error.category() == error_code(http::error::body_limit).category();
    if (!isHTTP || error == http::error::end_of_stream || error == http::error::partial_message) {
        return std::nullopt;
    }
    if (error == http::error::body_limit) {
        return problem(413, "The request is too large.");
    }
    if (error == http::error::header_limit) {
        return header.target().empty() ? problem(414, "The request's target is too long.")
                                       : problem(431, "The request's header is too large.");
    }
    return problem(400, "The request is not HTTP.");
}

/// Keeps the channel until it is closed.
Task<void> closed(std::shared_ptr<WebSocketChannel> channel, ControlChannel::Ending ending) {
    co_await channel->close(ending);
}

bool isOfThisUser(stream_protocol::socket& socket) {
    return peerUser(socket.native_handle()) == geteuid();
}

}  // namespace

/// The socket, its connections, and the loop that accepts them.
class ControlServer::Service {
  public:
    Service(const asio::any_io_executor& executor, const std::filesystem::path& home,
            const ControlRouter& router, Clock& clock, ControlLimits limits, ControlCounts* counts)
        : socket_(std::make_unique<ControlSocket>(executor, home)),
          router_(router),
          clock_(clock),
          limits_(limits),
          counts_(counts),
          rates_(limits.requestsPerSecond, limits.burst),
          tasks_(executor, reportFailure) {
        open({.acceptor = socket_->acceptor()});
    }

    void listenOn(ControlListener& listener) {
        for (ControlAcceptor& acceptor : listener.acceptors()) {
            open({.acceptor = acceptor, .gate = &listener.gate()});
        }
    }

    Task<void> end() {
        isEnding_ = true;
        for (Connection* connection : connections_) {
            connection->stream.close();
        }
        co_await endChannels();
        co_await tasks_.end();
        socket_.reset();
    }

  private:
    void open(Door door) {
        doors_.push_back(door);
        tasks_.add("accepting control connections", accept(doors_.back()));
    }

    Task<void> accept(const Door& door) {
        while (!isEnding_) {
            while (connections_.size() >= limits_.connections) {
                closeTheIdlest(idle_.begin());
                co_await door.changed.wait();
            }
            auto [error, socket] = co_await door.acceptor.async_accept(quietly);
            if (error) {
                // The caller may have gone already, or descriptors may be short for a moment.
                co_await clock_.sleepFor(std::chrono::milliseconds(100));
            } else if (door.gate) {
                socket.set_option(asio::ip::tcp::no_delay(true), error);
                takeStranger(
                    std::make_unique<Connection>(Stream(std::move(socket)), Caller{}, strangers, door.gate));
            } else if (isOfThisUser(socket)) {
                const Caller caller = callerOf(socket.native_handle());
                take(std::make_unique<Connection>(Stream(std::move(socket)), caller, nameOf(caller)));
            }
        }
    }

    void noteChange() {
        for (const Door& door : doors_) {
            door.changed.notify();
        }
    }

    /// One that has as many as it may have loses its idlest or, where it waits for answers on all of them,
    /// the new one.
    void take(std::unique_ptr<Connection> connection) {
        if (findsRoom(connection->callerName)) {
            begin(std::move(connection));
        }
    }

    /// Whoever has not shown the token takes the place of another one who has not: of one who is turned away
    /// already, or who has been connected for the longest time.
    void takeStranger(std::unique_ptr<Connection> connection) {
        if (strangers_.size() >= limits_.strangers) {
            const auto turnedAway = std::ranges::find_if(strangers_, &Connection::isTurnedAway);
            const auto leaving = turnedAway == strangers_.end() ? strangers_.begin() : turnedAway;
            (*leaving)->stream.close();
            strangers_.erase(leaving);
        }
        strangers_.push_back(connection.get());
        begin(std::move(connection));
    }

    /// The connection has brought the token: it is no stranger's from here on. Whether there is room for it.
    bool admit(Connection& connection) {
        if (connection.callerName != strangers) {
            return true;
        }
        const bool isTaken = findsRoom(tokenBringers);
        strangers_.remove(&connection);
        connection.callerName = tokenBringers;
        return isTaken;
    }

    bool findsRoom(const std::string& callerName) {
        const auto isOfSame = [&](const Connection* other) { return other->callerName == callerName; };
        const auto count = std::ranges::count_if(connections_, isOfSame);
        if (static_cast<std::size_t>(count) < limits_.connectionsOfOne) {
            return true;
        }
        const auto idlest = std::ranges::find_if(idle_, isOfSame);
        closeTheIdlest(idlest);
        return idlest != idle_.end();
    }

    void begin(std::unique_ptr<Connection> connection) {
        connections_.insert(connection.get());
        tasks_.add("a control connection", serve(std::move(connection)));
    }

    /// So that nobody keeps others out with connections on which nothing comes.
    void closeTheIdlest(std::list<Connection*>::iterator idlest) {
        if (idlest != idle_.end()) {
            (*idlest)->stream.close();
        }
    }

    Task<void> serve(std::unique_ptr<Connection> connection) {
        const std::shared_ptr<void> atEnd(nullptr, [this, raw = connection.get()](void*) {
            connections_.erase(raw);
            strangers_.remove(raw);
            noteChange();
        });
        beast::flat_buffer buffer;
        bool isOpen = true;
        while (isOpen && !isEnding_) {
            isOpen = co_await exchange(*connection, buffer);
        }
    }

    /// One request and its answer. Whether the connection stays open.
    Task<bool> exchange(Connection& connection, beast::flat_buffer& buffer) {
        Stream& stream = connection.stream;
        stream.expires_after(limits_.idleTimeout);
        Parser parser;
        parser.body_limit(limits_.largestBody);
        const auto place = idle_.insert(idle_.end(), &connection);
        noteChange();
        auto [error, size] = co_await http::async_read_header(stream, buffer, parser, quietly);
        // Before the body, of which nothing is kept for whoever may not ask.
        auto refusal = error ? std::nullopt : refusalAtGate(connection, parser.get());
        if (!error && !refusal) {
            error = co_await readBody(stream, buffer, parser);
        }
        idle_.erase(place);
        if (error) {
            refusal = refusalOf(error, parser.get());
        }
        if (refusal) {
            co_await turnAway(connection, std::move(*refusal));
        }
        if (error || refusal) {
            co_return false;
        }
        const bool keepAlive = parser.get().keep_alive();
        stream.expires_never();
        HttpRequest message = parser.release();
        ControlRequest request =
            connection.gate ? personsRequest(message) : requestOf(message, connection.caller);
        ControlResponse response = co_await answer(std::move(request), connection.callerName);
        if (response.takeOver) {
            refusal = refusalOfChannel(connection, message);
            if (!refusal) {
                co_await goOnAsChannel(connection, std::move(message), std::move(response.takeOver));
                co_return false;
            }
            response = std::move(*refusal);
        }
        const bool isSent = co_await send(stream, messageOf(std::move(response), keepAlive));
        co_return isSent&& keepAlive;
    }

    std::optional<ControlResponse> refusalAtGate(Connection& connection, const HttpHeader& header) {
        if (!connection.gate) {
            return std::nullopt;
        }
        auto refusal = connection.gate->refusal(originOf(header), clock_.steadyNow());
        if (!refusal && !admit(connection)) {
            refusal = problem(503, "Too many are connected already; close a connection, then try again.");
        }
        return refusal;
    }

    static Task<error_code> readBody(Stream& stream, beast::flat_buffer& buffer, Parser& parser) {
        constexpr std::string_view goOn = "HTTP/1.1 100 Continue\r\n\r\n";
        error_code error;
        std::size_t size = 0;
        if (!parser.is_done() && expectsContinue(parser.get())) {
            std::tie(error, size) = co_await asio::async_write(stream, asio::buffer(goOn), quietly);
        }
        if (!error) {
            std::tie(error, size) = co_await http::async_read(stream, buffer, parser, quietly);
        }
        co_return error;
    }

    std::optional<ControlResponse> refusalOfChannel(const Connection& connection,
                                                    const HttpRequest& request) {
        if (!beast::websocket::is_upgrade(request)) {
            return problem(426, "This resource is a WebSocket; ask for an upgrade.");
        }
        const auto isOfSame = [&](const OpenChannel& other) {
            return other.callerName == connection.callerName;
        };
        const auto count = static_cast<std::size_t>(std::ranges::count_if(channels_, isOfSame));
        if (channels_.size() >= limits_.channels || count >= limits_.channelsOfOne) {
            return problem(503, "Too many are connected already; leave a terminal, then try again.");
        }
        return std::nullopt;
    }

    /// From here on it counts as a channel, and no longer as a connection.
    Task<void> goOnAsChannel(Connection& connection, HttpRequest request, TakeOver takeOver) {
        const ChannelLimits limits{.silence = limits_.channelSilence};
        const auto channel = std::make_shared<WebSocketChannel>(std::move(connection.stream), limits);
        const auto place = channels_.insert(channels_.end(), {channel, connection.callerName});
        const std::shared_ptr<void> atEnd(nullptr, [this, place](void*) {
            channels_.erase(place);
            channelsEnded_.notify();
        });
        connections_.erase(&connection);
        noteChange();
        count(static_cast<unsigned>(http::status::switching_protocols));
        const bool isOpen = co_await channel->accept(std::move(request));
        if (isOpen && !isEnding_) {
            co_await takeOver(*channel);
        }
        co_await channel->close(ControlChannel::Ending::done);
    }

    /// Whoever is told and whose handler does not end all the same is cancelled afterwards, with the rest.
    Task<void> endChannels() {
        for (const OpenChannel& open : channels_) {
            tasks_.add("closing a control channel", closed(open.channel, ControlChannel::Ending::goingAway));
        }
        const auto deadline = std::chrono::steady_clock::now() + longestFarewell;
        while (!channels_.empty() && std::chrono::steady_clock::now() < deadline) {
            co_await channelsEnded_.waitUntil(deadline);
        }
    }

    /// A secret that is nobody's is not worth a bucket.
    std::string callerNameOf(const ControlRequest& request, const std::string& connected) const {
        if (request.secret.empty()) {
            return connected;
        }
        return router_.knows(request.secret) ? "secret " + request.secret : "wrong secrets";
    }

    Task<ControlResponse> answer(ControlRequest request, std::string connected) {
        if (!rates_.takeNow(callerNameOf(request, connected), clock_.steadyNow())) {
            co_return problem(429, "The dispatcher is asked too often; wait a second, then ask again.");
        }
        co_return co_await router_.respond(std::move(request));
    }

    void count(unsigned status) {
        if (counts_) {
            ++counts_->answers.at(status / 100);
        }
    }

    Task<bool> send(Stream& stream, HttpResponse message) {
        stream.expires_after(limits_.idleTimeout);
        count(message.result_int());
        const auto [error, size] = co_await http::async_write(stream, message, quietly);
        co_return !error;
    }

    /// What it sends has not been read. What lies unread when a TCP connection is closed takes the answer
    /// with it, so a little of that is read before.
    Task<void> turnAway(Connection& connection, ControlResponse refusal) {
        connection.isTurnedAway = true;
        Stream& stream = connection.stream;
        const bool isSent = co_await send(stream, messageOf(std::move(refusal), false));
        error_code error;
        stream.socket().shutdown(asio::socket_base::shutdown_send, error);
        stream.expires_after(longestTurningAway);
        std::array<char, 4096> unread{};
        for (std::size_t size = 0, all = 0; isSent && !error && all < mostUnread; all += size) {
            std::tie(error, size) = co_await stream.async_read_some(asio::buffer(unread), quietly);
        }
    }

    std::unique_ptr<ControlSocket> socket_;
    const ControlRouter& router_;
    Clock& clock_;
    const ControlLimits limits_;
    ControlCounts* const counts_;  // may be null
    CallerRates rates_;
    std::set<Connection*> connections_;  // that are open
    std::list<Connection*> strangers_;   // that have not shown the token, the oldest first
    std::list<Connection*> idle_;        // on which no whole request has come, the longest idle first
    std::list<OpenChannel> channels_;
    AsyncSignal channelsEnded_;
    std::list<Door> doors_;
    bool isEnding_ = false;
    TaskSet tasks_;
};

ControlServer::ControlServer(asio::any_io_executor executor, const std::filesystem::path& home,
                             const ControlRouter& router, Clock& clock, ControlLimits limits,
                             ControlCounts* counts)
    : service_(std::make_unique<Service>(executor, home, router, clock, limits, counts)) {}

ControlServer::~ControlServer() = default;

void ControlServer::listenOn(ControlListener& listener) {
    service_->listenOn(listener);
}

Task<void> ControlServer::end() {
    co_await service_->end();
}

}  // namespace quernlight::host
