// standin-backend: a bug backend for the demo and the tests, a real HTTP server in a process of its own.

#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>

#include <boost/asio/io_context.hpp>

#include "standin/backend/bug_store.hpp"
#include "standin/backend/json_text.hpp"
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

void serve(const Options& options) {
    Backend backend(options);
    asio::io_context io(1);
    Server server = listenOn(io, {.port = options.port, .largestBody = options.largestBody},
                             [&backend](const Request& request) { return backend.handle(request); });
    serveUntilStopped(io, server, options.exitWithStdin);
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
