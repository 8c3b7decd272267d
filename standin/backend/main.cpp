// standin-backend: a bug backend for the demo and the tests, a real HTTP server in a process of its own.

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <variant>

#include <unistd.h>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "quernlight/platform/task.hpp"
#include "standin/backend/bug_store.hpp"
#include "standin/backend/object_reader.hpp"
#include "standin/backend/options.hpp"
#include "standin/backend/router.hpp"
#include "standin/backend/seed.hpp"
#include "standin/backend/server.hpp"
#include "standin/backend/state_file.hpp"

namespace quernlight::standin {
namespace {

namespace asio = boost::asio;

BugStore initialStore(const Options& options) {
    if (!options.seed) {
        return {};
    }
    const std::string text = readTextFile(*options.seed, "The seed file");
    try {
        return storeFromSeed(text, currentInstant());
    } catch (const InvalidInput& error) {
        throw std::runtime_error("The seed file " + options.seed->string() +
                                 " cannot be used: " + error.what());
    }
}

/// What a request meets: the store behind the router, and the state file that follows every change.
class Backend {
  public:
    explicit Backend(const Options& options)
        : store_(initialStore(options)), router_(store_, faults_, options.token, options.agentToken) {
        for (const Fault& fault : options.faults) {
            faults_.set(fault);
        }
        if (options.state) {
            stateFile_.emplace(*options.state);
            stateFile_->update(store_);
        }
    }

    Response handle(const Request& request) {
        Response response = router_.respond(request, currentInstant());
        if (stateFile_) {
            stateFile_->update(store_);
        }
        return response;
    }

  private:
    BugStore store_;
    Faults faults_;
    Router router_;
    std::optional<StateFile> stateFile_;
};

Task<void> stopAtEndOfInput(asio::io_context& io) {
    asio::posix::stream_descriptor input(io, ::dup(STDIN_FILENO));
    std::string discarded(4096, '\0');
    for (boost::system::error_code error; !error;) {
        std::size_t size = 0;
        std::tie(error, size) =
            co_await input.async_read_some(asio::buffer(discarded), asio::as_tuple(asio::use_awaitable));
    }
    io.stop();
}

Server listen(asio::io_context& io, const Options& options, Backend& backend) {
    try {
        return Server(io, {.port = options.port, .largestBody = options.largestBody},
                      [&backend](const Request& request) { return backend.handle(request); });
    } catch (const boost::system::system_error& error) {
        throw std::runtime_error("The port " + std::to_string(options.port) +
                                 " on 127.0.0.1 cannot be used: " + error.code().message() + ".");
    }
}

void serve(const Options& options) {
    Backend backend(options);
    asio::io_context io(1);
    asio::signal_set signals(io, SIGINT, SIGTERM);
    signals.async_wait([&io](const boost::system::error_code& error, int) {
        if (!error) {
            io.stop();
        }
    });
    Server server = listen(io, options, backend);
    if (options.exitWithStdin) {
        spawnLogged(io.get_executor(), "watching standard input", stopAtEndOfInput(io));
    }
    spawnLogged(io.get_executor(), "accepting connections", server.run());
    std::cout << "listening on http://127.0.0.1:" << server.port() << std::endl;
    io.run();
}

int run(int argc, const char* const* argv) {
    const auto parsed = parseOptions(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) {
        return *status;
    }
    serve(std::get<Options>(parsed));
    return EXIT_SUCCESS;
}

}  // namespace
}  // namespace quernlight::standin

int main(int argc, char** argv) {
    try {
        return quernlight::standin::run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "standin-backend: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
